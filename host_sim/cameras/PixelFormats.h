#pragma once

// Pictures as industrial cameras deliver them (GenICam pixel formats) turned
// into the frames the host hands out: 8-bit gray (CV_8UC1) or 8-bit colour
// in red, green, blue order (CV_8UC3). No device is involved: the GenICam
// camera keeps the camera's raw picture and converts it with this when a
// frame is taken.
//
// Deeper than 8 bits (Mono10, Mono12, Mono14, Mono16, the 10-, 12- and 16-bit
// Bayer formats and the packed forms of both) is shown by the top 8 bits of the
// format's depth: a 12-bit value v is shown as v >> 4, so that the full range
// of the sensor fills black to white. Values above the format's depth (bits a
// camera should leave zero) show as white.
//
// Packing of the buffer:
// - unpacked formats: each row starts nStride bytes after the one before
//   (0 = rows lie packed, width x bytes per pixel);
// - Mono10p, Mono12p and Bayer..10p, Bayer..12p (GenICam PFNC "p" formats): pixels are a stream of 10-
//   or 12-bit values, least significant bit first: pixel i starts at bit
//   i x depth of the row. With nStride 0 the whole picture is one stream
//   (a row may start inside a byte); with nStride each row starts on its own;
// - Mono10Packed, Mono12Packed and Bayer..10Packed, Bayer..12Packed (GigE
//   Vision 1.x): two pixels in three bytes,
//   byte 0 and byte 2 the top 8 bits of the first and second pixel, byte 1
//   the low bits (first pixel in its low nibble, second in its high nibble).
//   With nStride 0 the pairs run on across rows; with nStride each row starts
//   with a new pair.
// - YUV422_8 (Y0 U Y1 V) and YUV422_8_UYVY (U Y0 V Y1): two pixels share one
//   U and one V. An odd width's last pixel has no V of its own: it takes the
//   one of the pair before it (or neutral when the row is one pixel wide).

#include "HostSimExport.h"

#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>

namespace hostsim {

// GenICam Pixel Format Naming Convention codes (as the camera reports them).
namespace pfnc {
constexpr uint32_t Mono8 = 0x01080001u;
constexpr uint32_t Mono10 = 0x01100003u;
constexpr uint32_t Mono10Packed = 0x010C0004u;
constexpr uint32_t Mono12 = 0x01100005u;
constexpr uint32_t Mono12Packed = 0x010C0006u;
constexpr uint32_t Mono14 = 0x01100025u;
constexpr uint32_t Mono16 = 0x01100007u;
constexpr uint32_t Mono10p = 0x010A0046u;
constexpr uint32_t Mono12p = 0x010C0047u;
constexpr uint32_t BayerGR8 = 0x01080008u;
constexpr uint32_t BayerRG8 = 0x01080009u;
constexpr uint32_t BayerGB8 = 0x0108000Au;
constexpr uint32_t BayerBG8 = 0x0108000Bu;
constexpr uint32_t BayerGR10 = 0x0110000Cu;
constexpr uint32_t BayerRG10 = 0x0110000Du;
constexpr uint32_t BayerGB10 = 0x0110000Eu;
constexpr uint32_t BayerBG10 = 0x0110000Fu;
constexpr uint32_t BayerGR12 = 0x01100010u;
constexpr uint32_t BayerRG12 = 0x01100011u;
constexpr uint32_t BayerGB12 = 0x01100012u;
constexpr uint32_t BayerBG12 = 0x01100013u;
constexpr uint32_t BayerBG10p = 0x010A0052u;
constexpr uint32_t BayerGB10p = 0x010A0054u;
constexpr uint32_t BayerGR10p = 0x010A0056u;
constexpr uint32_t BayerRG10p = 0x010A0058u;
constexpr uint32_t BayerBG12p = 0x010C0053u;
constexpr uint32_t BayerGB12p = 0x010C0055u;
constexpr uint32_t BayerGR12p = 0x010C0057u;
constexpr uint32_t BayerRG12p = 0x010C0059u;
constexpr uint32_t BayerGR10Packed = 0x010C0026u;
constexpr uint32_t BayerRG10Packed = 0x010C0027u;
constexpr uint32_t BayerGB10Packed = 0x010C0028u;
constexpr uint32_t BayerBG10Packed = 0x010C0029u;
constexpr uint32_t BayerGR12Packed = 0x010C002Au;
constexpr uint32_t BayerRG12Packed = 0x010C002Bu;
constexpr uint32_t BayerGB12Packed = 0x010C002Cu;
constexpr uint32_t BayerBG12Packed = 0x010C002Du;
constexpr uint32_t BayerGR16 = 0x0110002Eu;
constexpr uint32_t BayerRG16 = 0x0110002Fu;
constexpr uint32_t BayerGB16 = 0x01100030u;
constexpr uint32_t BayerBG16 = 0x01100031u;
constexpr uint32_t RGB8 = 0x02180014u;
constexpr uint32_t BGR8 = 0x02180015u;
constexpr uint32_t YUV422_8_UYVY = 0x0210001Fu; // also GigE Vision 1.x "YUV422Packed"
constexpr uint32_t YUV422_8 = 0x02100032u;      // YUYV; also "YUV422_YUYV_Packed"
} // namespace pfnc

// The format's name ("Mono12p"); "0x0110abcd" for a code the host does not know.
HXL_HOSTSIM_EXPORT QString pixelFormatName(uint32_t nPixelFormat);
// The code of a format name (also the older GigE Vision names); 0 when unknown.
HXL_HOSTSIM_EXPORT uint32_t pixelFormatFromName(const QString& strName);
// True when the host can show pictures of this format.
HXL_HOSTSIM_EXPORT bool isPixelFormatShown(uint32_t nPixelFormat);
// The names of every format the host shows.
HXL_HOSTSIM_EXPORT QStringList shownPixelFormatNames();
// 1 (gray) or 3 (colour) for the frames a format gives; 0 when not shown.
HXL_HOSTSIM_EXPORT int pixelFormatChannels(uint32_t nPixelFormat);
// Bytes a picture of this format and size needs at least (nStride 0 = rows
// packed as the format packs them); 0 when not shown or empty.
HXL_HOSTSIM_EXPORT size_t pixelFormatMinimumBytes(uint32_t nPixelFormat, int nWidth, int nHeight, size_t nStride = 0);

// Converts one raw picture into a host frame (CV_8UC1, or CV_8UC3 in red,
// green, blue order). When out already has the frame's size and type its
// memory is written in place (it may be a view with padded rows, such as the
// host's frame layout); otherwise it is allocated continuous. False with the
// reason (naming the format) for a format the host does not show, an empty
// picture or too few bytes; out is then left as it was.
HXL_HOSTSIM_EXPORT bool convertPixels(uint32_t nPixelFormat, int nWidth, int nHeight, const void* pData, size_t nSize,
                                   cv::Mat& out, QString* pError, size_t nStride = 0);

} // namespace hostsim
