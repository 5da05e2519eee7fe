#pragma once

// A test that runs a part of itself (or a program beside it) in a child
// process.
//
// The child is started on the same window system as the test: the platform
// must be passed on the command line, because under Wine environment variables
// named QT_... do not reach a Windows process, and a child that falls back to
// the windows platform plugin there hangs without a word.
//
// Wine now and then refuses to create a process that exists and runs on the
// next try (CreateProcess or the pipes QProcess makes for it fail with
// "Internal error" while other processes of the prefix start or end). That is
// the test machine's weather, not the behaviour under test, so a refused start
// of a program that is there is tried again a few times, and said.

#include <QCoreApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QStringList>
#include <QThread>
#include <QtGlobal>

inline QStringList sameProgramArguments(const QStringList& arguments)
{
    QStringList all;
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        all << QStringLiteral("-platform") << QGuiApplication::platformName();
    return all + arguments;
}

// Waits until a process given to QProcess::start runs. A start the system
// refused is made again (three tries in all) when the program is there to be
// run; a missing program, or a start still pending after `nWaitMs`, is not.
inline bool waitForChildStarted(QProcess& process, int nWaitMs = 30000)
{
    const int kTries = 3;
    for (int nTry = 1;; ++nTry) {
        if (process.waitForStarted(nWaitMs))
            return true;
        const bool bRefused =
            process.error() == QProcess::FailedToStart && QFileInfo(process.program()).isExecutable();
        if (!bRefused || nTry == kTries)
            return false;
        qWarning("the system refused to start %s (%s); trying again (%d of %d)", qPrintable(process.program()),
                 qPrintable(process.errorString()), nTry + 1, kTries);
        QThread::msleep(200);
        process.start(process.program(), process.arguments());
    }
}

inline bool startChildProcess(QProcess& process, const QString& program, const QStringList& arguments,
                              int nWaitMs = 30000)
{
    process.start(program, arguments);
    return waitForChildStarted(process, nWaitMs);
}
