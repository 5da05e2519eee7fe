#pragma once

#include "HXL_HostExport.h"
#include "IServiceManager.h"

// The machine that carries the camera. Positions are machine millimetres.
class HXL_CONTROLCARD_EXPORT IZKMachine
{
public:
    // 0 when idle, non-zero while the machine moves.
    virtual int GetRunState() = 0;
    virtual int GetAxisCount() = 0;
    // Position of an axis (0 = X, 1 = Y); 0 for an unknown axis.
    virtual double GetAxisPos(int nAxis) = 0;
    // Starts a move of X and Y to the target and returns at once. 0 when started.
    virtual int MoveTo(double dX, double dY) = 0;

protected:
    virtual ~IZKMachine();
};

// Motion service (registry key HXLServiceKey::RobotService).
class HXL_CONTROLCARD_EXPORT IZKRobotService : public IService
{
public:
    // The machine in use, or null.
    virtual IZKMachine* GetCurMachine() = 0;
    // Out of line in the host library: the type information that the
    // registry lookup casts to lives there, once.
    ~IZKRobotService() override;
};
