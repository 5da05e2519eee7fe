#pragma once

// State of the replacement host shared by its services (internal to host_sim).

#include "HostJournal.h"
#include "services/SimApp.h"
#include "services/SimCameraManager.h"
#include "drawing/SimDrawing.h"
#include "services/SimMachine.h"
#include "services/SimServices.h"
#include "cameras/Workpiece.h"

#include <QPointer>

namespace hostsim {

struct HostState
{
    HostState();
    ~HostState();

    SimMachine machine;
    Workpiece workpiece;
    SimCameraManager cameraManager;
    SimDatabase database;
    SimView view;
    SimDocument document{&database, &view};
    SimMainApp mainApp{&document, &view};
    SimAppService appService{&mainApp};
    SimRobotService robotService{&machine};
    SimEntityFactory entityFactory;
    SimPartFactory partFactory;
    SimLocatorManager locator;
    SimCombineManager combineManager;
    UiUserConfig uiConfig;

    QPointer<IMainWindow> pMainWindow;

    double calibPer[4] = {0.2, 0.8, 0.2, 0.8};   // left, right, bottom, top
    double selectedPer[4] = {0.0, 0.0, 0.0, 0.0};
    int nImageDpi = 96;
    bool bOpenFile = false;
    double dCalX = 0.0;
    double dCalY = 0.0;
};

// The current host state; reset replaces it.
HostState& hostState();

} // namespace hostsim
