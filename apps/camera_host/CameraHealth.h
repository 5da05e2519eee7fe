#pragma once

// What the demo's status bar says of the current camera: its state in words
// (streaming, waiting for the camera and why, stopped) and how many frames a
// second the camera delivers and the panel takes, each measured over about a
// second, so that an operator sees at a glance whether a slow picture is the
// camera's doing or the host's.

#include <QString>
#include <QtGlobal>

namespace hostsim {
class HostCamera;
}

class CameraHealth
{
public:
    // Length of the window the rates are measured over.
    static constexpr qint64 kWindowMs = 1000;

    // Called on every status update with the current camera (null: none) and
    // a steady clock in milliseconds. A new camera starts a new measurement.
    void sample(hostsim::HostCamera* pCamera, qint64 nNowMs);

    // "streaming 1280 x 1024 gray, 10.0 fps from the camera, 9.8 shown";
    // without a full window yet the rates are left out.
    QString text() const;
    QString state() const { return m_strState; }
    // Negative until a window has been measured.
    double receivedPerSecond() const { return m_dReceived; }
    double shownPerSecond() const { return m_dShown; }

private:
    const hostsim::HostCamera* m_pCamera = nullptr;
    qint64 m_nWindowStartMs = 0;
    quint64 m_nReceivedAtStart = 0;
    quint64 m_nShownAtStart = 0;
    double m_dReceived = -1.0;
    double m_dShown = -1.0;
    QString m_strState;
};
