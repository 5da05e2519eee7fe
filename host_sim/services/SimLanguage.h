#pragma once

#include "HostSimExport.h"
#include "host/IHXLLanguageManager.h"

#include <QHash>
#include <QString>

namespace hostsim {

// Text tables are data files "<table>_<language>.txt" (UTF-8, one
// "number<TAB>text" per line, '#' starts a comment) compiled into the host as
// resources under :/hostsim/lang/. A text missing from a language falls back
// to the English table.
class HXL_HOSTSIM_EXPORT SimLanguageManager : public IHXLLanguageManager
{
public:
    SimLanguageManager();
    ~SimLanguageManager() override;

    int LoadTextTable(const char* szTableName) override;
    int SetLanguage(const char* szLanguage) override;
    int ApplyLanguage() override;
    std::string GetLanguage() override;
    std::string GetText(int nId) override;

    // Reads one table file; false (with a reason) when it is missing or malformed.
    static bool readTable(const QString& strPath, QHash<int, QString>& texts, QString* pError);
    static QString tablePath(const QString& strTable, const QString& strLanguage);

private:
    QString m_strTable;
    QString m_strLanguage;
    QHash<int, QString> m_texts;
    bool m_bApplied = false;
};

// A new language manager for the host's current language (the caller keeps it).
IHXLLanguageManager* createLanguageManager();

} // namespace hostsim
