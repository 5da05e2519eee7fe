#include "services/SimMachine.h"

#include "HostJournal.h"
#include "HostSim.h"

#include <QMutexLocker>
#include <QThread>

#include <cmath>

namespace hostsim {

SimMachine::SimMachine() = default;
SimMachine::~SimMachine() = default;

void SimMachine::positionLocked(double& dX, double& dY) const
{
    if (!m_bMoving) {
        dX = m_dTargetX;
        dY = m_dTargetY;
        return;
    }
    const double dDx = m_dTargetX - m_dStartX;
    const double dDy = m_dTargetY - m_dStartY;
    const double dDistance = std::hypot(dDx, dDy);
    const double dTravelled = m_dSpeed * (m_moveClock.nsecsElapsed() / 1e9);
    if (dDistance <= 0.0 || dTravelled >= dDistance) {
        dX = m_dTargetX;
        dY = m_dTargetY;
        return;
    }
    const double f = dTravelled / dDistance;
    dX = m_dStartX + dDx * f;
    dY = m_dStartY + dDy * f;
}

int SimMachine::GetRunState()
{
    HostSim::journal().append(QStringLiteral("IZKMachine::GetRunState()"));
    return isMoving() ? 1 : 0;
}

int SimMachine::GetAxisCount()
{
    return 2;
}

double SimMachine::GetAxisPos(int nAxis)
{
    double dX = 0.0, dY = 0.0;
    position(dX, dY);
    HostSim::journal().append(QStringLiteral("IZKMachine::GetAxisPos(%1)").arg(nAxis));
    if (nAxis == 0)
        return dX;
    if (nAxis == 1)
        return dY;
    return 0.0;
}

int SimMachine::MoveTo(double dX, double dY)
{
    HostSim::journal().append(QStringLiteral("IZKMachine::MoveTo(%1, %2)").arg(jnum(dX), jnum(dY)));
    startMove(dX, dY);
    return 0;
}

void SimMachine::startMove(double dX, double dY)
{
    QMutexLocker lock(&m_mutex);
    double dCurX = 0.0, dCurY = 0.0;
    positionLocked(dCurX, dCurY);
    m_dStartX = dCurX;
    m_dStartY = dCurY;
    m_dTargetX = qBound(m_dMinX, dX, m_dMaxX);
    m_dTargetY = qBound(m_dMinY, dY, m_dMaxY);
    m_bMoving = m_dSpeed > 0.0 && (m_dTargetX != dCurX || m_dTargetY != dCurY);
    m_moveClock.start();
}

void SimMachine::setSpeed(double dMmPerSecond)
{
    QMutexLocker lock(&m_mutex);
    double dX = 0.0, dY = 0.0;
    positionLocked(dX, dY);
    // Continue a running move from where it is now at the new speed.
    m_dStartX = dX;
    m_dStartY = dY;
    m_moveClock.start();
    m_dSpeed = qMax(0.0, dMmPerSecond);
    m_bMoving = m_bMoving && m_dSpeed > 0.0;
}

double SimMachine::speed() const
{
    QMutexLocker lock(&m_mutex);
    return m_dSpeed;
}

void SimMachine::setPosition(double dX, double dY)
{
    QMutexLocker lock(&m_mutex);
    m_dStartX = m_dTargetX = dX;
    m_dStartY = m_dTargetY = dY;
    m_bMoving = false;
}

void SimMachine::position(double& dX, double& dY) const
{
    QMutexLocker lock(&m_mutex);
    positionLocked(dX, dY);
}

void SimMachine::target(double& dX, double& dY) const
{
    QMutexLocker lock(&m_mutex);
    dX = m_dTargetX;
    dY = m_dTargetY;
}

bool SimMachine::isMoving() const
{
    QMutexLocker lock(&m_mutex);
    if (!m_bMoving)
        return false;
    const double dDistance = std::hypot(m_dTargetX - m_dStartX, m_dTargetY - m_dStartY);
    return m_dSpeed * (m_moveClock.nsecsElapsed() / 1e9) < dDistance;
}

bool SimMachine::waitIdle(int nTimeoutMs) const
{
    QElapsedTimer clock;
    clock.start();
    while (isMoving()) {
        if (clock.elapsed() >= nTimeoutMs)
            return false;
        QThread::msleep(2);
    }
    return true;
}

void SimMachine::setLimits(double dMinX, double dMinY, double dMaxX, double dMaxY)
{
    QMutexLocker lock(&m_mutex);
    m_dMinX = dMinX;
    m_dMinY = dMinY;
    m_dMaxX = dMaxX;
    m_dMaxY = dMaxY;
}

void SimMachine::limits(double& dMinX, double& dMinY, double& dMaxX, double& dMaxY) const
{
    QMutexLocker lock(&m_mutex);
    dMinX = m_dMinX;
    dMinY = m_dMinY;
    dMaxX = m_dMaxX;
    dMaxY = m_dMaxY;
}

IZKMachine* SimRobotService::GetCurMachine()
{
    HostSim::journal().append(QStringLiteral("IZKRobotService::GetCurMachine()"));
    return HostSim::isAbsent(AbsentPart::CurrentMachine) ? nullptr : m_pMachine;
}

} // namespace hostsim
