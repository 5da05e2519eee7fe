#pragma once

// A test that runs a part of itself in a child process starts the child on
// the same window system as itself. The platform must be passed on the command
// line: under Wine environment variables named QT_... do not reach a Windows
// process, and a child that falls back to the windows platform plugin there
// hangs without a word.

#include <QCoreApplication>
#include <QGuiApplication>
#include <QStringList>

inline QStringList sameProgramArguments(const QStringList& arguments)
{
    QStringList all;
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        all << QStringLiteral("-platform") << QGuiApplication::platformName();
    return all + arguments;
}
