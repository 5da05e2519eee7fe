#include "cameras/PictureFile.h"

#include "HostSim.h"

#include <QFile>
#include <QImageReader>
#include <QtEndian>


namespace hostsim {

namespace {

bool fail(QString* pWhy, const QString& strWhy)
{
    if (pWhy)
        *pWhy = strWhy;
    return false;
}

// Whether a JPEG has an end-of-image marker after the start of its first
// scan. In the coded data a 0xFF byte is followed by 0x00 or a restart
// marker, so a 0xFF 0xD9 pair there is the end marker. Read in pieces.
bool jpegHasEnd(QFile& file)
{
    qint64 nPos = 2; // after the start-of-image marker
    for (;;) {
        if (!file.seek(nPos))
            return false;
        const QByteArray marker = file.read(4);
        if (marker.size() < 2)
            return false;
        const uchar nCode = uchar(marker[1]);
        if (uchar(marker[0]) != 0xFF || nCode == 0xFF) { // stray bytes before a marker (as the decoder skips them), fill bytes
            ++nPos;
            continue;
        }
        if (nCode == 0x01 || (nCode >= 0xD0 && nCode <= 0xD8)) { // markers without a length
            nPos += 2;
            continue;
        }
        if (nCode == 0xD9 || marker.size() < 4)
            return false;
        const int nLength = (uchar(marker[2]) << 8) | uchar(marker[3]);
        if (nLength < 2)
            return false;
        nPos += 2 + nLength;
        if (nCode == 0xDA) // start of scan: its header is passed
            break;
    }
    if (!file.seek(nPos))
        return false;
    bool bAfterFF = false;
    while (!file.atEnd()) {
        const QByteArray piece = file.read(1 << 20);
        if (piece.isEmpty())
            return false;
        for (const char c : piece) {
            if (bAfterFF && uchar(c) == 0xD9)
                return true;
            bAfterFF = uchar(c) == 0xFF;
        }
    }
    return false;
}

// Whether an uncompressed BMP holds all its rows (a run-length one cannot
// be told from its header and is left to the decoder).
bool bmpHasAllRows(QFile& file, const QSize& size)
{
    if (!file.seek(0))
        return false;
    const QByteArray header = file.read(34);
    if (header.size() < 26)
        return false;
    const auto* p = reinterpret_cast<const uchar*>(header.constData());
    const quint32 nOffset = qFromLittleEndian<quint32>(p + 10);
    const quint32 nInfoSize = qFromLittleEndian<quint32>(p + 14);
    int nBits = 0;
    quint32 nCompression = 0;
    if (nInfoSize == 12) { // OS/2 core header
        nBits = qFromLittleEndian<quint16>(p + 24);
    } else if (header.size() >= 34) {
        nBits = qFromLittleEndian<quint16>(p + 28);
        nCompression = qFromLittleEndian<quint32>(p + 30);
    } else {
        return false;
    }
    if (nCompression != 0 && nCompression != 3) // BI_RGB and BI_BITFIELDS are stored row by row
        return true;
    const qint64 nStride = (qint64(size.width()) * nBits + 31) / 32 * 4;
    return file.size() >= qint64(nOffset) + nStride * size.height();
}

// Opens the file and checks it; on success the reader is set up to decode it.
bool openPicture(QFile& file, QImageReader& reader, QString* pWhy)
{
    if (!file.open(QIODevice::ReadOnly))
        return fail(pWhy, QStringLiteral("cannot be opened (%1)").arg(file.errorString()));
    if (file.size() == 0)
        return fail(pWhy, QStringLiteral("the file is empty"));
    reader.setDevice(&file);
    reader.setDecideFormatFromContent(true);
    const QByteArray format = reader.format();
    if (format != "jpeg" && format != "bmp" && format != "png")
        return fail(pWhy, QStringLiteral("not a JPEG, BMP or PNG picture"));
    const QSize size = reader.size(); // from the header only
    if (!size.isValid() || size.isEmpty())
        return fail(pWhy, QStringLiteral("its header gives no picture size"));
    if (qint64(size.width()) * size.height() > kMaxPicturePixels)
        return fail(pWhy, QStringLiteral("%1 x %2 pixels, more than the %3 megapixels the host reads")
                              .arg(size.width())
                              .arg(size.height())
                              .arg(kMaxPicturePixels / (1024 * 1024)));
    if ((format == "jpeg" && !jpegHasEnd(file)) || (format == "bmp" && !bmpHasAllRows(file, size)))
        return fail(pWhy, QStringLiteral("the file is cut short"));
    // The checks moved through the file: the reader starts again at its header.
    file.seek(0);
    reader.setDevice(nullptr);
    reader.setDevice(&file);
    reader.setFormat(format);
    return true;
}

} // namespace

bool checkPictureFile(const QString& strPath, QString* pWhy)
{
    QFile file(strPath);
    QImageReader reader;
    return openPicture(file, reader, pWhy);
}

bool readPictureFile(const QString& strPath, QImage& picture, QString* pWhy)
{
    QFile file(strPath);
    QImageReader reader;
    if (!openPicture(file, reader, pWhy))
        return false;
    QImage read;
    if (!reader.read(&read))
        return fail(pWhy, QStringLiteral("it does not decode (%1)").arg(reader.errorString()));
    picture = read;
    return true;
}

} // namespace hostsim
