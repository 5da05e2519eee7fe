// HXL_ControlCard of the minimal host: the robot service and its machine,
// which stands still wherever HXL_CadBase's machine position says.

#include "MinimalHost.h"

#include <host/HXL_HostFunctions.h>
#include <host/HXL_ServiceKeys.h>
#include <host/IZKRobotService.h>

IZKRobotService::~IZKRobotService() = default;
IZKMachine::~IZKMachine() = default;

namespace {

class Machine : public IZKMachine
{
public:
    int GetRunState() override { return 0; }
    int GetAxisCount() override { return 2; }
    double GetAxisPos(int nAxis) override
    {
        double dX = 0, dY = 0;
        HXL_GetCurPos(dX, dY);
        return nAxis == 0 ? dX : nAxis == 1 ? dY : 0.0;
    }
    int MoveTo(double dX, double dY) override { return HXL_MachineMoveTo(dX, dY); }
};

class RobotService : public IZKRobotService
{
public:
    IZKMachine* GetCurMachine() override { return &m_machine; }

private:
    Machine m_machine;
};

} // namespace

void MinimalHost_RegisterRobotService()
{
    static RobotService s_service;
    IServiceManager::singleton()->RegisterService(HXLServiceKey::RobotService, &s_service);
}
