// The smallest host: the replacement host's services, the module's entry
// points, one panel made through the panel factory, a short run, a clean end.
// Exit code 0 when everything held; a message and a non-zero code otherwise.

#include <HXL_CameraUI.h>
#include <IZKCostomCameraWidget.h>
#include <host/IZKEventManger.h>

#include <HostJournal.h>
#include <HostSim.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QWidget>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

int fail(const char* szWhat)
{
    std::fprintf(stderr, "external_host: %s\n", szWhat);
    return 1;
}

void runEventsFor(int nMs)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < nMs)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
}

} // namespace

int main(int argc, char* argv[])
{
    // Whatever happens, the program ends: a hang is a failure too.
    std::thread([] {
        std::this_thread::sleep_for(std::chrono::seconds(30));
        std::fprintf(stderr, "external_host: still running after 30 s\n");
        std::_Exit(3);
    }).detach();

    QApplication app(argc, argv);

    QTemporaryDir workDir;
    if (!workDir.isValid())
        return fail("no temporary work directory");
    // The host is ready before the module is used: services registered, work path set.
    hostsim::HostSim::reset(workDir.path());
    hostsim::HostSim::journal().clear();

    if (HXL_CameraUI_ReadParam() != 0)
        return fail("HXL_CameraUI_ReadParam did not return 0");

    IZKCostomCameraWidget* pPanel = IZKCostomCameraWidget::NewInstance(nullptr);
    if (!pPanel)
        return fail("NewInstance gave no panel");
    pPanel->InitWidget();
    QWidget* pWidget = pPanel->GetWidget();
    if (!pWidget)
        return fail("GetWidget gave no widget");
    pWidget->resize(420, 290);
    pWidget->show();
    runEventsFor(300);

    const QStringList listeners = hostsim::HostSim::journal().linesStartingWith(QStringLiteral("IZKEventManger::AddListener("));
    const QStringList expected = {QStringLiteral("IZKEventManger::AddListener(3)"),
                                  QStringLiteral("IZKEventManger::AddListener(2)"),
                                  QStringLiteral("IZKEventManger::AddListener(4)")};
    if (listeners != expected) {
        std::fprintf(stderr, "external_host: listener registrations: %s\n",
                     qPrintable(listeners.join(QStringLiteral("; "))));
        return fail("the panel did not register on channels 3, 2 and 4");
    }

    // The panel leaves the event manager only when the host removes it.
    auto* pListener = dynamic_cast<IZKEventListener*>(pWidget);
    if (!pListener)
        return fail("the panel's widget is not the event listener it registered");
    for (int nChannel : {3, 2, 4})
        IZKEventManger::singleton()->RemoveListener(nChannel, pListener);
    if (hostsim::HostSim::journal().count(QStringLiteral("IZKEventManger::RemoveListener(")) != 3)
        return fail("the listener was not removed from its three channels");

    // The panel is a widget: deleting the widget ends the panel and its video thread.
    delete pWidget;
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    runEventsFor(50);

    HXL_CameraUI_TellAppExit();
    if (!QFileInfo::exists(workDir.filePath(QStringLiteral("qcv.dat"))))
        return fail("HXL_CameraUI_TellAppExit wrote no qcv.dat in the work directory");

    std::printf("external_host: panel built, ran and ended cleanly\n");
    return 0;
}
