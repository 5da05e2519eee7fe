#pragma once

// The symbols a shared library exports and imports, as the system's loader
// sees them: on Linux the dynamic symbol table (nm -D), on Windows the DLL's
// export and import directories, read from the file itself (no tool needed,
// so that it works in a Windows test program too). Names come as the
// compiler mangled them; MinGW and Linux GCC mangle C++ names alike.

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QSet>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>

namespace library_symbols {

// A library built beside the test programs, by its file name.
inline QString besideProgram(const QString& strFileName)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + strFileName;
}

// "IZKVisionCameraManager::GetCameraCount()" for a mangled name, as nm -C
// shows it; other names as they are.
inline QString demangled(const QString& strName)
{
    int nStatus = 0;
    char* pszText = abi::__cxa_demangle(strName.toLatin1().constData(), nullptr, nullptr, &nStatus);
    const QString strText = nStatus == 0 && pszText ? QString::fromLatin1(pszText) : strName;
    std::free(pszText);
    return strText;
}

// The values of one kind of entry ("NEEDED", "SONAME") in readelf -d's
// listing: " 0x... (NEEDED)   Shared library: [libc.so.6]".
inline QStringList dynamicEntries(const QString& strListing, const QString& strKind)
{
    QStringList values;
    for (const QString& strLine : strListing.split(QLatin1Char('\n'))) {
        if (!strLine.contains(QLatin1Char('(') + strKind + QLatin1Char(')')))
            continue;
        const int nOpen = strLine.indexOf(QLatin1Char('['));
        const int nClose = strLine.lastIndexOf(QLatin1Char(']'));
        if (nOpen >= 0 && nClose > nOpen)
            values << strLine.mid(nOpen + 1, nClose - nOpen - 1);
    }
    return values;
}

namespace detail {

// Portable Executable (PE32+) layout: a little-endian file whose parts are
// found by their relative virtual addresses through the section table.
class PeFile
{
public:
    explicit PeFile(QByteArray bytes) : m_bytes(std::move(bytes))
    {
        if (!m_bytes.startsWith("MZ"))
            return;
        const qint64 nPe = u32(0x3C);
        if (m_bytes.mid(int(nPe), 4) != QByteArray("PE\0\0", 4))
            return;
        const qint64 nCoff = nPe + 4;
        m_nSections = u16(nCoff + 2);
        const qint64 nOptional = nCoff + 20;
        m_nSectionTable = nOptional + u16(nCoff + 16);
        // Data directories: after 112 bytes of a PE32+ optional header (96 in PE32).
        m_nDirectories = nOptional + (u16(nOptional) == 0x20B ? 112 : 96);
        m_bValid = true;
    }

    bool isValid() const { return m_bValid; }

    // The file offset of a relative virtual address, -1 outside every section.
    qint64 offsetOf(quint32 nRva) const
    {
        for (int i = 0; i < m_nSections; ++i) {
            const qint64 nSection = m_nSectionTable + 40 * i;
            const quint32 nAddress = u32(nSection + 12);
            const quint32 nSize = std::max(u32(nSection + 8), u32(nSection + 16));
            if (nRva >= nAddress && nRva < nAddress + nSize)
                return qint64(u32(nSection + 20)) + (nRva - nAddress);
        }
        return -1;
    }
    // Offset of data directory n (0 exports, 1 imports), -1 when absent.
    qint64 directory(int n) const
    {
        const quint32 nRva = u32(m_nDirectories + 8 * n);
        return nRva ? offsetOf(nRva) : -1;
    }
    QString stringAt(quint32 nRva) const
    {
        const qint64 nAt = offsetOf(nRva);
        if (nAt < 0 || nAt >= m_bytes.size())
            return QString();
        const char* pszStart = m_bytes.constData() + nAt;
        return QString::fromLatin1(pszStart, int(strnlen(pszStart, size_t(m_bytes.size() - nAt))));
    }
    quint16 u16(qint64 nAt) const { return quint16(value(nAt, 2)); }
    quint32 u32(qint64 nAt) const { return quint32(value(nAt, 4)); }
    quint64 u64(qint64 nAt) const { return value(nAt, 8); }

private:
    quint64 value(qint64 nAt, int nBytes) const
    {
        if (nAt < 0 || nAt + nBytes > m_bytes.size())
            return 0;
        quint64 v = 0;
        for (int i = nBytes - 1; i >= 0; --i)
            v = (v << 8) | quint8(m_bytes.at(int(nAt + i)));
        return v;
    }
    QByteArray m_bytes;
    bool m_bValid = false;
    int m_nSections = 0;
    qint64 m_nSectionTable = 0;
    qint64 m_nDirectories = 0;
};

inline PeFile readPe(const QString& strPath, QString* pError)
{
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly)) {
        *pError = QStringLiteral("cannot read %1").arg(strPath);
        return PeFile(QByteArray());
    }
    PeFile pe(file.readAll());
    if (!pe.isValid())
        *pError = QStringLiteral("%1 is not a Windows library").arg(strPath);
    return pe;
}

// nm's dynamic symbols of one kind ("--defined-only" or "--undefined-only"),
// without symbol versions.
inline QStringList nmNames(const QString& strPath, const QString& strWhich, QString* pError)
{
    QProcess nm;
    nm.start(QStringLiteral("nm"), {QStringLiteral("-D"), strWhich, strPath});
    if (!nm.waitForFinished(30000) || nm.exitStatus() != QProcess::NormalExit || nm.exitCode() != 0) {
        *pError = QStringLiteral("nm -D %1 failed: %2").arg(strPath, QString::fromLocal8Bit(nm.readAllStandardError()));
        return {};
    }
    QStringList names;
    for (const QString& strLine : QString::fromLatin1(nm.readAllStandardOutput()).split(QLatin1Char('\n'))) {
        // "<address> T name" or "                 U name@VERSION"
        const QString strName = strLine.section(QLatin1Char(' '), -1).section(QLatin1Char('@'), 0, 0);
        if (!strName.isEmpty())
            names << strName;
    }
    return names;
}

} // namespace detail

// The names a library exports. Empty with *pError set when it cannot be read.
inline QStringList exportedNames(const QString& strPath, QString* pError)
{
#ifdef Q_OS_WIN
    const detail::PeFile pe = detail::readPe(strPath, pError);
    const qint64 nExports = pe.directory(0);
    if (!pe.isValid() || nExports < 0)
        return {};
    const quint32 nCount = pe.u32(nExports + 24);
    const qint64 nNames = pe.offsetOf(pe.u32(nExports + 32));
    QStringList names;
    for (quint32 i = 0; i < nCount && nNames >= 0; ++i)
        names << pe.stringAt(pe.u32(nNames + 4 * i));
    return names;
#else
    return detail::nmNames(strPath, QStringLiteral("--defined-only"), pError);
#endif
}

// The names a library imports, by the library it names for them. On Windows
// each DLL of the import directory with the entries it gives by name (not by
// ordinal). On Linux the dynamic table does not say where an undefined symbol
// is to come from (the loader searches the needed libraries in turn), so every
// name is under the empty key.
inline QMap<QString, QStringList> importsByLibrary(const QString& strPath, QString* pError)
{
    QMap<QString, QStringList> imports;
#ifdef Q_OS_WIN
    const detail::PeFile pe = detail::readPe(strPath, pError);
    qint64 nDescriptor = pe.directory(1);
    if (!pe.isValid() || nDescriptor < 0)
        return {};
    // One 20-byte descriptor per library, up to an empty one: the DLL's name
    // at offset 12, and a list of 64-bit thunks ending in zero naming its entries.
    for (; pe.u32(nDescriptor + 12) != 0; nDescriptor += 20) {
        QStringList& names = imports[pe.stringAt(pe.u32(nDescriptor + 12))];
        const quint32 nThunks = pe.u32(nDescriptor) ? pe.u32(nDescriptor) : pe.u32(nDescriptor + 16);
        qint64 nThunk = pe.offsetOf(nThunks);
        for (; nThunk >= 0 && pe.u64(nThunk) != 0; nThunk += 8) {
            const quint64 nEntry = pe.u64(nThunk);
            if (!(nEntry & (quint64(1) << 63))) // not by ordinal: a hint, then the name
                names << pe.stringAt(quint32(nEntry) + 2);
        }
    }
#else
    const QStringList names = detail::nmNames(strPath, QStringLiteral("--undefined-only"), pError);
    if (!names.isEmpty())
        imports.insert(QString(), names);
#endif
    return imports;
}

// The names a library imports from other libraries (by name, not ordinal).
inline QStringList importedNames(const QString& strPath, QString* pError)
{
    QStringList names;
    for (const QStringList& fromOne : importsByLibrary(strPath, pError))
        names += fromOne;
    return names;
}

// The libraries a library asks the loader for, by file name: the DLL names of
// the import directory (Windows) or the NEEDED entries of the dynamic section
// (Linux, read with readelf -d).
inline QStringList neededLibraries(const QString& strPath, QString* pError)
{
#ifdef Q_OS_WIN
    return importsByLibrary(strPath, pError).keys();
#else
    QProcess readelf;
    readelf.start(QStringLiteral("readelf"), {QStringLiteral("-d"), QStringLiteral("-W"), strPath});
    if (!readelf.waitForFinished(30000) || readelf.exitStatus() != QProcess::NormalExit || readelf.exitCode() != 0) {
        *pError = QStringLiteral("readelf -d %1 failed: %2").arg(strPath, QString::fromLocal8Bit(readelf.readAllStandardError()));
        return {};
    }
    return dynamicEntries(QString::fromLatin1(readelf.readAllStandardOutput()), QStringLiteral("NEEDED"));
#endif
}

} // namespace library_symbols
