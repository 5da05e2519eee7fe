#include "CameraHealth.h"

#include "cameras/HostCamera.h"

namespace {

// Frames the camera delivered: a streaming camera counts what arrives from
// the device; the simulated camera renders a frame for each grab.
quint64 framesReceived(hostsim::HostCamera* pCamera)
{
    if (auto* pStreaming = dynamic_cast<hostsim::StreamingCamera*>(pCamera))
        return pStreaming->framesReceived();
    return quint64(qMax(0, pCamera->grabCount()));
}

// Frames taken from the camera for the panel (its live view and captures).
quint64 framesShown(hostsim::HostCamera* pCamera)
{
    return quint64(qMax(0, pCamera->grabCount()));
}

} // namespace

void CameraHealth::sample(hostsim::HostCamera* pCamera, qint64 nNowMs)
{
    if (!pCamera) {
        m_pCamera = nullptr;
        m_strState = QStringLiteral("no camera");
        m_dReceived = m_dShown = -1.0;
        return;
    }
    m_strState = pCamera->statusText();
    if (m_strState.isEmpty()) {
        // The simulated camera always has a picture to give.
        m_strState = pCamera->frameWidth() > 0
                         ? QStringLiteral("simulated %1 x %2").arg(pCamera->frameWidth()).arg(pCamera->frameHeight())
                         : QStringLiteral("simulated, no frame yet");
    }
    const quint64 nReceived = framesReceived(pCamera);
    const quint64 nShown = framesShown(pCamera);
    if (pCamera != m_pCamera || nReceived < m_nReceivedAtStart || nShown < m_nShownAtStart) {
        // Another camera (or one that started counting again): a new window.
        m_pCamera = pCamera;
        m_nWindowStartMs = nNowMs;
        m_nReceivedAtStart = nReceived;
        m_nShownAtStart = nShown;
        m_dReceived = m_dShown = -1.0;
        return;
    }
    const qint64 nElapsed = nNowMs - m_nWindowStartMs;
    if (nElapsed < kWindowMs)
        return;
    m_dReceived = double(nReceived - m_nReceivedAtStart) * 1000.0 / double(nElapsed);
    m_dShown = double(nShown - m_nShownAtStart) * 1000.0 / double(nElapsed);
    m_nWindowStartMs = nNowMs;
    m_nReceivedAtStart = nReceived;
    m_nShownAtStart = nShown;
}

QString CameraHealth::text() const
{
    if (m_dReceived < 0.0)
        return m_strState;
    return QStringLiteral("%1, %2 fps from the camera, %3 shown")
        .arg(m_strState)
        .arg(m_dReceived, 0, 'f', 1)
        .arg(m_dShown, 0, 'f', 1);
}
