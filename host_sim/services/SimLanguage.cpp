#include "services/SimLanguage.h"

#include "HostJournal.h"
#include "HostSim.h"

#include <QFile>
#include <QTextStream>

#include <cstdio>

// IHXLLanguageManager::Create, for HXL_Language.
IHXLLanguageManager* hostsim::createLanguageManager()
{
    hostsim::HostSim::journal().append(QStringLiteral("IHXLLanguageManager::Create()"));
    return new hostsim::SimLanguageManager();
}

namespace hostsim {

SimLanguageManager::SimLanguageManager() : m_strLanguage(HostSim::language()) {}

SimLanguageManager::~SimLanguageManager() = default;

QString SimLanguageManager::tablePath(const QString& strTable, const QString& strLanguage)
{
    return QStringLiteral(":/hostsim/lang/%1_%2.txt").arg(strTable, strLanguage);
}

bool SimLanguageManager::readTable(const QString& strPath, QHash<int, QString>& texts, QString* pError)
{
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        if (pError)
            *pError = QStringLiteral("cannot open %1").arg(strPath);
        return false;
    }
    QTextStream in(&file);
    in.setCodec("UTF-8");
    int nLine = 0;
    while (!in.atEnd()) {
        const QString line = in.readLine();
        ++nLine;
        if (line.trimmed().isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const int nTab = line.indexOf(QLatin1Char('\t'));
        bool bOk = false;
        const int nId = nTab > 0 ? line.left(nTab).toInt(&bOk) : -1;
        if (!bOk) {
            if (pError)
                *pError = QStringLiteral("%1:%2: expected \"number<TAB>text\"").arg(strPath).arg(nLine);
            return false;
        }
        texts.insert(nId, line.mid(nTab + 1));
    }
    return true;
}

int SimLanguageManager::LoadTextTable(const char* szTableName)
{
    m_strTable = QString::fromUtf8(szTableName ? szTableName : "");
    HostSim::journal().append(QStringLiteral("IHXLLanguageManager::LoadTextTable(%1)").arg(m_strTable));
    m_bApplied = false;
    return QFile::exists(tablePath(m_strTable, QStringLiteral("en"))) ? 0 : -1;
}

int SimLanguageManager::SetLanguage(const char* szLanguage)
{
    m_strLanguage = QString::fromUtf8(szLanguage ? szLanguage : "en");
    HostSim::journal().append(QStringLiteral("IHXLLanguageManager::SetLanguage(%1)").arg(m_strLanguage));
    m_bApplied = false;
    return 0;
}

int SimLanguageManager::ApplyLanguage()
{
    HostSim::journal().append(QStringLiteral("IHXLLanguageManager::ApplyLanguage()"));
    m_texts.clear();
    m_bApplied = true;
    QString why;
    QHash<int, QString> english;
    if (!readTable(tablePath(m_strTable, QStringLiteral("en")), english, &why)) {
        std::fprintf(stderr, "host_sim: text table \"%s\": %s\n", qPrintable(m_strTable), qPrintable(why));
        return -1;
    }
    m_texts = english;
    if (m_strLanguage != QLatin1String("en")) {
        QHash<int, QString> local;
        if (!readTable(tablePath(m_strTable, m_strLanguage), local, &why)) {
            std::fprintf(stderr, "host_sim: text table \"%s\" in %s: %s; using English\n", qPrintable(m_strTable),
                         qPrintable(m_strLanguage), qPrintable(why));
            return -1;
        }
        for (auto it = local.begin(); it != local.end(); ++it)
            m_texts.insert(it.key(), it.value());
    }
    return 0;
}

std::string SimLanguageManager::GetLanguage()
{
    return m_strLanguage.toStdString();
}

std::string SimLanguageManager::GetText(int nId)
{
    HostSim::journal().append(QStringLiteral("IHXLLanguageManager::GetText(%1)").arg(nId));
    if (!m_bApplied)
        return std::string();
    return m_texts.value(nId).toUtf8().toStdString();
}

} // namespace hostsim
