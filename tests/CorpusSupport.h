#pragma once

// Damaged files for the tests of the file readers, made at run time from a
// few valid seeds. Every case is made the same way on every run (a generator
// with a fixed seed), so that a failing case can be named and made again.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QVector>
#include <QtTest>

#include <random>

namespace corpus {

struct Case
{
    QString name;
    QByteArray bytes;
};

// The seed cut at every nStep-th length from 0 to its full length minus one.
inline QVector<Case> truncations(const QString& strSeed, const QByteArray& seed, int nStep = 1)
{
    QVector<Case> cases;
    for (int n = 0; n < seed.size(); n += nStep)
        cases.append({QStringLiteral("%1 cut at %2").arg(strSeed).arg(n), seed.left(n)});
    return cases;
}

// nCount copies of the seed, each with one bit flipped at a position spread
// over the whole seed.
inline QVector<Case> bitFlips(const QString& strSeed, const QByteArray& seed, int nCount, unsigned nGenerator)
{
    std::mt19937 random(nGenerator);
    QVector<Case> cases;
    for (int i = 0; i < nCount && !seed.isEmpty(); ++i) {
        const int nAt = static_cast<int>(random() % static_cast<unsigned>(seed.size()));
        const int nBit = static_cast<int>(random() % 8);
        QByteArray bytes = seed;
        bytes[nAt] = static_cast<char>(bytes[nAt] ^ (1 << nBit));
        cases.append({QStringLiteral("%1 bit %2 of byte %3 flipped").arg(strSeed).arg(nBit).arg(nAt), bytes});
    }
    return cases;
}

// The seed with a NUL byte put in (nCount places, spread over the seed), and
// the same places overwritten by a NUL.
inline QVector<Case> nulBytes(const QString& strSeed, const QByteArray& seed, int nCount)
{
    QVector<Case> cases;
    for (int i = 0; i < nCount && !seed.isEmpty(); ++i) {
        const int nAt = static_cast<int>(qint64(seed.size()) * i / nCount);
        QByteArray inserted = seed;
        inserted.insert(nAt, '\0');
        cases.append({QStringLiteral("%1 NUL put in at %2").arg(strSeed).arg(nAt), inserted});
        QByteArray replaced = seed;
        replaced[nAt] = '\0';
        cases.append({QStringLiteral("%1 NUL over byte %2").arg(strSeed).arg(nAt), replaced});
    }
    return cases;
}

// Byte sequences that are not UTF-8: a lone continuation byte, a cut
// two-byte sequence, an overlong '/', a UTF-16 surrogate, a code point above
// U+10FFFF, bytes that never occur, a stray byte-order mark in the middle.
inline QVector<QByteArray> invalidUtf8()
{
    return {QByteArray("\x80"),         QByteArray("\xc3"),         QByteArray("\xc3\x28"),
            QByteArray("\xc0\xaf"),     QByteArray("\xed\xa0\x80"), QByteArray("\xf4\x90\x80\x80"),
            QByteArray("\xfe\xff"),     QByteArray("\xef\xbb\xbf")};
}

// Every invalid UTF-8 sequence put in at each of the given places.
inline QVector<Case> withInvalidUtf8(const QString& strSeed, const QByteArray& seed, const QVector<int>& places)
{
    QVector<Case> cases;
    const QVector<QByteArray> sequences = invalidUtf8();
    for (int nAt : places) {
        for (int i = 0; i < sequences.size(); ++i) {
            QByteArray bytes = seed;
            bytes.insert(nAt, sequences.at(i));
            cases.append({QStringLiteral("%1 bad UTF-8 #%2 at %3").arg(strSeed).arg(i).arg(nAt), bytes});
        }
    }
    return cases;
}

// nSize bytes of noise.
inline QByteArray noise(int nSize, unsigned nGenerator)
{
    std::mt19937 random(nGenerator);
    QByteArray bytes(nSize, '\0');
    for (int i = 0; i < nSize; ++i)
        bytes[i] = static_cast<char>(random() & 0xff);
    return bytes;
}

// The file's bytes written whole (the calling test fails otherwise), and read back.
inline void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace corpus
