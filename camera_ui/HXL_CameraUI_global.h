#pragma once

#include <QtCore/qglobal.h>

// The module's one export macro: exported while the library itself is built,
// imported by the host that loads it.
#if defined(HXL_CAMERAUI_LIBRARY)
#  define HXL_CAMERAUI_EXPORT Q_DECL_EXPORT
#else
#  define HXL_CAMERAUI_EXPORT Q_DECL_IMPORT
#endif
