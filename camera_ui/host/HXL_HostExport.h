#pragma once

// Every declaration in this folder belongs to the host application's service
// libraries. The camera panel only calls them; the host (or its replacement)
// builds them with HXL_HOST_LIBRARY defined.

#include <QtCore/qglobal.h>

#if defined(HXL_HOST_LIBRARY)
#  define HXL_HOST_EXPORT Q_DECL_EXPORT
#else
#  define HXL_HOST_EXPORT Q_DECL_IMPORT
#endif
