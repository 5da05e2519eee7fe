#pragma once

// Every declaration in this folder belongs to one of the host application's
// eight service libraries; the camera panel only calls them. Each library has
// its own export mark, so that a Windows module imports every host symbol from
// the DLL that really holds it. A library built from these declarations
// defines its own HXL_<LIBRARY>_LIBRARY (HXL_CADBASE_LIBRARY for HXL_CadBase,
// and so on); everybody else imports.

#include <QtCore/qglobal.h>

#if defined(HXL_CADBASE_LIBRARY)
#  define HXL_CADBASE_EXPORT Q_DECL_EXPORT
#else
#  define HXL_CADBASE_EXPORT Q_DECL_IMPORT
#endif

#if defined(HXL_VISIONCAMERAMANAGER_LIBRARY)
#  define HXL_VISIONCAMERAMANAGER_EXPORT Q_DECL_EXPORT
#else
#  define HXL_VISIONCAMERAMANAGER_EXPORT Q_DECL_IMPORT
#endif

#if defined(HXL_VISIONBASE_LIBRARY)
#  define HXL_VISIONBASE_EXPORT Q_DECL_EXPORT
#else
#  define HXL_VISIONBASE_EXPORT Q_DECL_IMPORT
#endif

#if defined(HXL_VISIONFEATURE_LIBRARY)
#  define HXL_VISIONFEATURE_EXPORT Q_DECL_EXPORT
#else
#  define HXL_VISIONFEATURE_EXPORT Q_DECL_IMPORT
#endif

#if defined(HXL_VISIONCAMERACALIBRATION_LIBRARY)
#  define HXL_VISIONCAMERACALIBRATION_EXPORT Q_DECL_EXPORT
#else
#  define HXL_VISIONCAMERACALIBRATION_EXPORT Q_DECL_IMPORT
#endif

#if defined(HXL_COMMONCTRL_LIBRARY)
#  define HXL_COMMONCTRL_EXPORT Q_DECL_EXPORT
#else
#  define HXL_COMMONCTRL_EXPORT Q_DECL_IMPORT
#endif

#if defined(HXL_CONTROLCARD_LIBRARY)
#  define HXL_CONTROLCARD_EXPORT Q_DECL_EXPORT
#else
#  define HXL_CONTROLCARD_EXPORT Q_DECL_IMPORT
#endif

#if defined(HXL_LANGUAGE_LIBRARY)
#  define HXL_LANGUAGE_EXPORT Q_DECL_EXPORT
#else
#  define HXL_LANGUAGE_EXPORT Q_DECL_IMPORT
#endif
