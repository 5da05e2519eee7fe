#pragma once

// Export mark of the replacement host's own library (HXL_HostSim): the control
// facade, the journal and the simulator classes that tests and the demo reach.
// The host's interfaces themselves are exported by the eight libraries named
// after the host's (host/HXL_HostExport.h).

#include <QtCore/qglobal.h>

#if defined(HXL_HOSTSIM_LIBRARY)
#  define HXL_HOSTSIM_EXPORT Q_DECL_EXPORT
#else
#  define HXL_HOSTSIM_EXPORT Q_DECL_IMPORT
#endif
