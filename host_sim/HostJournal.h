#pragma once

#include "HostSimExport.h"

#include <QMutex>
#include <QStringList>

namespace hostsim {

// Every host operation that the panel calls appends one line here: the
// operation's name and its salient arguments, e.g. "HXL_MachineMoveTo(12.5, -3)".
// Thread-safe; tests clear it and assert call sequences on it. Old lines are
// dropped beyond the capacity so that a long demo run cannot grow without bound.
class HXL_HOSTSIM_EXPORT Journal
{
public:
    void append(const QString& strLine);
    void clear();
    QStringList lines() const;
    // Lines that start with strPrefix, in order.
    QStringList linesStartingWith(const QString& strPrefix) const;
    int count(const QString& strPrefix) const;
    // Index of the first line at or after nFrom that starts with strPrefix, or -1.
    int indexOf(const QString& strPrefix, int nFrom = 0) const;
    void setEnabled(bool bEnabled);
    bool isEnabled() const;
    void setCapacity(int nLines);

private:
    mutable QMutex m_mutex;
    QStringList m_lines;
    bool m_bEnabled = true;
    int m_nCapacity = 200000;
};

// While an instance lives, the host calls made on its thread are the host's
// own (e.g. the demo window's live view) and are not journaled, so that the
// journal shows only what the panel asked of the host.
class HXL_HOSTSIM_EXPORT HostCallScope
{
public:
    HostCallScope();
    ~HostCallScope();
    HostCallScope(const HostCallScope&) = delete;
    HostCallScope& operator=(const HostCallScope&) = delete;
    static bool active();
};

// Formats a number for a journal line: shortest form, up to 10 significant digits.
HXL_HOSTSIM_EXPORT QString jnum(double dValue);

} // namespace hostsim
