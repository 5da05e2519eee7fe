#include "HostJournal.h"

#include <QMutexLocker>

namespace hostsim {

namespace {
thread_local int t_nHostScopes = 0;
} // namespace

HostCallScope::HostCallScope()
{
    ++t_nHostScopes;
}

HostCallScope::~HostCallScope()
{
    --t_nHostScopes;
}

bool HostCallScope::active()
{
    return t_nHostScopes > 0;
}

void Journal::append(const QString& strLine)
{
    if (t_nHostScopes > 0)
        return;
    QMutexLocker lock(&m_mutex);
    if (!m_bEnabled)
        return;
    m_lines.append(strLine);
    if (m_lines.size() > m_nCapacity)
        m_lines.erase(m_lines.begin(), m_lines.begin() + (m_lines.size() - m_nCapacity));
}

void Journal::clear()
{
    QMutexLocker lock(&m_mutex);
    m_lines.clear();
}

QStringList Journal::lines() const
{
    QMutexLocker lock(&m_mutex);
    return m_lines;
}

QStringList Journal::linesStartingWith(const QString& strPrefix) const
{
    QMutexLocker lock(&m_mutex);
    QStringList result;
    for (const QString& line : m_lines)
        if (line.startsWith(strPrefix))
            result.append(line);
    return result;
}

int Journal::count(const QString& strPrefix) const
{
    QMutexLocker lock(&m_mutex);
    int n = 0;
    for (const QString& line : m_lines)
        if (line.startsWith(strPrefix))
            ++n;
    return n;
}

int Journal::indexOf(const QString& strPrefix, int nFrom) const
{
    QMutexLocker lock(&m_mutex);
    for (int i = qMax(0, nFrom); i < m_lines.size(); ++i)
        if (m_lines.at(i).startsWith(strPrefix))
            return i;
    return -1;
}

void Journal::setEnabled(bool bEnabled)
{
    QMutexLocker lock(&m_mutex);
    m_bEnabled = bEnabled;
}

bool Journal::isEnabled() const
{
    QMutexLocker lock(&m_mutex);
    return m_bEnabled;
}

void Journal::setCapacity(int nLines)
{
    QMutexLocker lock(&m_mutex);
    m_nCapacity = qMax(1, nLines);
}

QString jnum(double dValue)
{
    return QString::number(dValue, 'g', 10);
}

} // namespace hostsim
