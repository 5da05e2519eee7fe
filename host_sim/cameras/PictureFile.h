#pragma once

// Pictures the host reads from files: the open-picture command and the debug
// source (ImageAdapter::ReadFile) and the picture camera.

#include "HostSimExport.h"

#include <QImage>
#include <QString>

namespace hostsim {

// Whether a file holds a whole JPEG, BMP or PNG picture of at most
// kMaxPicturePixels, judged from its header and its end without decoding it:
// false, with the reason in words, for a file that cannot be opened, is
// empty, is no such picture, is cut short (a JPEG without its end marker, a
// BMP shorter than its rows) or is larger than the limit.
HXL_HOSTSIM_EXPORT bool checkPictureFile(const QString& strPath, QString* pWhy);
// Reads such a file; false, with the reason, for what checkPictureFile
// refuses (before anything is allocated for the pixels) and for a picture
// that does not decode.
HXL_HOSTSIM_EXPORT bool readPictureFile(const QString& strPath, QImage& picture, QString* pWhy);

} // namespace hostsim
