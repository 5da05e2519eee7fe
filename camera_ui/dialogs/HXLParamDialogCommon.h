#pragma once

// What the image parameter dialogs have in common: the wheel filter, the
// apply sequence with its 300 ms wait, the host view refresh and the pieces
// that the four simple dialogs build alike. Each dialog keeps its own
// meta-object interface (its signals and slots are its own); only the work
// behind them is shared here.

#include "host/ZKWindowManager.h"

#include <QObject>
#include <QTime>

#include <functional>

class QComboBox;
class QDialog;
class QEvent;
class QGridLayout;
class QLabel;
class QPushButton;
class QSlider;
class QWidget;
class HXL_ShowDealWithDialog;

namespace HXLParamDialogCommon {

// --- wheel filter ------------------------------------------------------------------

// True for a wheel event on a slider: scrolling a dialog must never move one.
bool isSliderWheel(QObject* watched, QEvent* event);
// Also true for a wheel event on a combo box (the morphology rows, whose
// operation must not change by accident).
bool isSliderOrComboWheel(QObject* watched, QEvent* event);

// --- the apply wait ----------------------------------------------------------------

// Source of the time of day that the apply wait reads. By default the local
// clock; tests put in their own to reach the midnight wrap.
using TimeOfDayClock = std::function<QTime()>;
// An empty clock puts back the local clock.
void setTimeOfDayClock(TimeOfDayClock clock);
QTime currentTimeOfDay();

// Waits nMs milliseconds of time of day while processing events of every
// kind, at most 100 ms per call, so that the live-video thread picks up the
// new values and the processing notice keeps animating. The deadline is a
// time of day: past midnight it wraps to a small time and the wait ends at once.
void waitTimeOfDay(int nMs);

// The pause every apply makes before it lets the host re-process.
constexpr int kApplyWaitMs = 300;

// --- host ------------------------------------------------------------------------------

// Redraws the host view: main application, document, view, RefreshView(true);
// nothing when the host lacks one of them.
void refreshHostView();

// Connects a dialog's parameter-changed signal to the host main window's
// slotImageParamChanged, so that the host re-processes its picture.
template <class Dialog>
void connectToMainWindow(Dialog* pDialog, void (Dialog::*signal)())
{
    IMainWindow* pMainWindow = ZKWindowManager::singleton().getMainWindow();
    QObject::connect(pDialog, signal, pMainWindow, &IMainWindow::slotImageParamChanged);
}

// The apply sequence of the parameter dialogs: show the processing notice,
// wait 300 ms of time of day, write (when given), announce the change, let
// the host redraw its view and hide the notice.
void runApplySequence(HXL_ShowDealWithDialog* pNotice, const std::function<void()>& fnWrite,
                      const std::function<void()>& fnAnnounce);

// The style sheet of the two advanced dialogs.
QString advancedDialogStyleSheet();

// --- pieces of the four simple dialogs ---------------------------------------------

// Read-out of a value row ("50%") and of a width row or a bare value ("250").
QString percentText(int nValue);
QString numberText(int nValue);

// The frame every simple dialog shares: an untitled group box whose grid the
// dialog fills, and below it the OK and Cancel buttons.
struct SimpleDialogFrame
{
    QGridLayout* pGrid = nullptr;
    QPushButton* pOkBtn = nullptr;
    QPushButton* pCancelBtn = nullptr;
};
SimpleDialogFrame buildSimpleDialogFrame(QDialog* pDialog);

// A row caption: 30 high, aligned left and vertically centred.
QLabel* createCaption(const QString& strText);
// A horizontal slider, 25 high, moving by single steps; the value is set
// before any connection is made.
QSlider* createSlider(int nMin, int nMax, int nValue);
// A read-out, 24 wide and 30 high.
QLabel* createReadOut(const QString& strText);
// The mode combo box (texts 5, 6, 7 for modes 0, 1, 2), on nMode.
QComboBox* createModeCombo(int nMode);
// The restore-default button: a borderless 26 x 26 icon button.
QPushButton* createDefaultButton();

} // namespace HXLParamDialogCommon
