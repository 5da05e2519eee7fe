#pragma once

// Shared helpers of the camera panel's tests.

#include "StdoutCapture.h"

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "IZKCostomCameraWidget.h"
#include "ZKCostomCameraWidget.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimEvents.h"

#include <QLabel>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <memory>

#if defined(__SANITIZE_ADDRESS__)
#define HXL_TEST_LEAK_CHECKER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HXL_TEST_LEAK_CHECKER 1
#endif
#endif
#ifdef HXL_TEST_LEAK_CHECKER
#include <sanitizer/lsan_interface.h>
#endif

namespace panel_test {

// What a label shows (a null pixmap when nothing).
inline QPixmap labelPixmap(const QLabel* pLabel)
{
    return pLabel->pixmap(Qt::ReturnByValue);
}

// A fresh host in a fresh work directory, the module's settings read, and the
// module-wide state as at start.
inline void freshHost(QTemporaryDir& dir)
{
    hostsim::HostSim::reset(dir.path());
    HXL_CameraUI_ReadParam();
    isOpenVideo = 1;
    isAutoPhoto = 0;
    bIsDebug = false;
    g_bCanApply = true;
    g_bCanCapture = true;
    g_bCameraChangeAllowed = false;
    g_bSkipContextMenu = false;
    g_pMorphologyDialog = nullptr;
    g_pPreprocessingDialog = nullptr;
}

// The panel as a host makes it: the factory, then the builder.
inline ZKCostomCameraWidget* makePanel(bool bBuild = true)
{
    IZKCostomCameraWidget* pInterface = IZKCostomCameraWidget::NewInstance(nullptr);
    auto* pPanel = static_cast<ZKCostomCameraWidget*>(pInterface);
    if (bBuild)
        pInterface->InitWidget();
    pPanel->resize(800, 290);
    return pPanel;
}

// Deletes a panel and drops its listener registration, as the host does
// before it fires further events (the panel never removes it itself).
inline void destroyPanel(ZKCostomCameraWidget* pPanel)
{
    IZKEventListener* pListener = pPanel;
    delete pPanel;
    hostsim::eventManager().removeListenerEverywhere(pListener);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

struct PanelDeleter
{
    void operator()(ZKCostomCameraWidget* p) const { destroyPanel(p); }
};
using PanelPtr = std::unique_ptr<ZKCostomCameraWidget, PanelDeleter>;

// Code run inside one of these may leak on purpose: the full-screen preview
// keeps the frame buffer of a refresh whose grab failed (its deliberate
// behaviour). In AddressSanitizer builds the leak checker leaves out what
// this thread allocates meanwhile, and only that: no blanket suppression by
// function name. (The valgrind run checks that the preview does keep it.)
struct DeliberateLeakScope
{
#ifdef HXL_TEST_LEAK_CHECKER
    DeliberateLeakScope() { __lsan_disable(); }
    ~DeliberateLeakScope() { __lsan_enable(); }
#else
    DeliberateLeakScope() {}
    ~DeliberateLeakScope() {}
#endif
    DeliberateLeakScope(const DeliberateLeakScope&) = delete;
    DeliberateLeakScope& operator=(const DeliberateLeakScope&) = delete;
};

// True when the journal lines hold lines starting with each prefix, in this
// order (other lines may come between). On failure says which was missing.
inline bool hasSequence(const QStringList& lines, const QStringList& prefixes, QString* pWhy = nullptr)
{
    int nFrom = 0;
    for (const QString& prefix : prefixes) {
        int nFound = -1;
        for (int i = nFrom; i < lines.size(); ++i) {
            if (lines.at(i).startsWith(prefix)) {
                nFound = i;
                break;
            }
        }
        if (nFound < 0) {
            if (pWhy)
                *pWhy = QStringLiteral("\"%1\" not found after line %2").arg(prefix).arg(nFrom);
            return false;
        }
        nFrom = nFound + 1;
    }
    return true;
}

// Captures what a piece of code writes to standard output.
template <class Fn>
QByteArray captureStdout(Fn&& fn)
{
    StdoutCapture capture;
    fn();
    return capture.take();
}

} // namespace panel_test
