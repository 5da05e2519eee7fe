#pragma once

// Collects what the process writes to its standard output while it lives:
// the C runtime's descriptor 1 is pointed at a temporary file and back. That
// is where the module's printf traces go, on Linux and in the Windows C
// runtime alike (which has the same dup and dup2, in <io.h>).

#include <QByteArray>
#include <QTemporaryFile>

#include <cstdio>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

class StdoutCapture
{
public:
    StdoutCapture()
    {
        std::fflush(stdout);
        if (m_file.open()) {
            // No descriptor 1 at all (-1) is possible too: a Windows program
            // may start without a standard output.
            m_nSaved = ::dup(1);
            m_bActive = ::dup2(m_file.handle(), 1) >= 0;
        }
    }
    ~StdoutCapture() { restore(); }
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // Everything written since the capture began; standard output is back
    // where it was afterwards.
    QByteArray take()
    {
        restore();
        m_file.seek(0);
        return m_file.readAll();
    }

private:
    void restore()
    {
        if (!m_bActive)
            return;
        std::fflush(stdout);
        if (m_nSaved >= 0) {
            ::dup2(m_nSaved, 1);
            ::close(m_nSaved);
        } else {
            ::close(1);
        }
        m_nSaved = -1;
        m_bActive = false;
    }
    QTemporaryFile m_file;
    int m_nSaved = -1;
    bool m_bActive = false;
};
