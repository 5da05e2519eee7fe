#pragma once

#include "HostSimExport.h"
#include "host/IZKRobotService.h"

#include <QElapsedTimer>
#include <QMutex>

namespace hostsim {

// Simulated XY gantry. A move runs in a straight line at a constant speed;
// the position is computed from the time elapsed since the move started, so
// the machine needs no event loop and can be read from any thread. A speed of
// 0 makes moves instant (tests); the demo uses a realistic speed.
class HXL_HOSTSIM_EXPORT SimMachine : public IZKMachine
{
public:
    SimMachine();
    ~SimMachine() override;

    int GetRunState() override;
    int GetAxisCount() override;
    double GetAxisPos(int nAxis) override;
    int MoveTo(double dX, double dY) override;

    // Facade: no journal lines.
    // The host's own moves (e.g. while combining pictures).
    void startMove(double dX, double dY);
    void setSpeed(double dMmPerSecond);
    double speed() const;
    void setPosition(double dX, double dY); // jumps there, ends any move
    void position(double& dX, double& dY) const;
    void target(double& dX, double& dY) const;
    bool isMoving() const;
    // Blocks until the current move has ended (or nTimeoutMs passed); true when idle.
    bool waitIdle(int nTimeoutMs = 30000) const;
    // Travel limits in millimetres; moves are clamped into them.
    void setLimits(double dMinX, double dMinY, double dMaxX, double dMaxY);
    void limits(double& dMinX, double& dMinY, double& dMaxX, double& dMaxY) const;

private:
    void positionLocked(double& dX, double& dY) const;

    mutable QMutex m_mutex;
    double m_dStartX = 0.0, m_dStartY = 0.0;
    double m_dTargetX = 0.0, m_dTargetY = 0.0;
    double m_dSpeed = 0.0;
    double m_dMinX = -500.0, m_dMinY = -500.0, m_dMaxX = 500.0, m_dMaxY = 500.0;
    QElapsedTimer m_moveClock;
    bool m_bMoving = false;
};

class HXL_HOSTSIM_EXPORT SimRobotService : public IZKRobotService
{
public:
    explicit SimRobotService(SimMachine* pMachine) : m_pMachine(pMachine) {}
    IZKMachine* GetCurMachine() override;

private:
    SimMachine* m_pMachine;
};

} // namespace hostsim
