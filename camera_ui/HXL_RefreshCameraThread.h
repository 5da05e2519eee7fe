#pragma once

#include "CLock.h"
#include "HXL_ModuleGlobals.h"

#include <QImage>
#include <QMutex>
#include <QPixmap>
#include <QThread>
#include <QWaitCondition>

#include <atomic>
#include <vector>

class QPainter;
class IZKGePolyline;

// Keeps the panel's live picture fresh: grabs frames of the host's current
// camera into its own buffer, composes each into a pixmap the size of the
// panel's picture label (aspect kept, centred on white, red crosshair) and
// hands it to the panel by a queued signal. Lives in the GUI thread; only
// run() executes on the worker.
class HXL_RefreshCameraThread : public QThread
{
    Q_OBJECT
public:
    HXL_RefreshCameraThread();
    ~HXL_RefreshCameraThread() override;

    void SetShowLabel(QWidget* pLabel);
    void SetShowLabelWH(int* pW, int* pH);
    void SetMode(int nMode);
    void Resume();
    void Pause();
    // Spins the GUI event loop until the worker has finished its current frame or parked.
    void WaitPaused();
    void ReleaseBuffer();
    void SetPolylines(std::vector<IZKGePolyline*> vecPolylines);
    // Ends run() for good: a running worker leaves at its next cycle, a parked
    // one is woken and leaves. The host's own shutdown uses it; the panel's
    // teardown only pauses and detaches.
    void RequestStop();
    // One frame on the caller's thread: 0, or -1 (no label), -3 (no camera),
    // -2 (zero frame size), -4 (grab failed).
    int GrabOneFrame(QPixmap& out);

    // What one cycle of the live loop made of the current camera's frame.
    enum class LiveFrame {
        Composed, // grabbed (or, paused meanwhile, the last frame kept) and composed
        Skipped,  // no camera, a zero size or a failed grab: the next cycle tries again
        Stop      // the camera ended for good, or no frame buffer could be had: the loop ends
    };
    // One cycle's frame, from the camera lookup to the composed picture: the
    // frame buffer is (re)allocated for the camera's frame, the frame is
    // grabbed into it and composed for the label. run() calls it every
    // cycle; tests call it on their own thread to see what the loop shows.
    LiveFrame GrabLiveFrame(QImage& composed);

    // The shared frame composition: the frame aspect-fitted and centred in a
    // showW x showH area, then a one-pixel red crosshair over the whole area.
    // The caller fills the background (or not) before.
    static void DrawFrame(QPainter& painter, const QImage& frame, int nShowW, int nShowH);
    // The composed picture: white, the fitted frame, the crosshair.
    static QImage ComposeImage(const unsigned char* pBuffer, bool bColour, int nWidth, int nHeight, int nShowW,
                               int nShowH);
    // A frame buffer wrapped without copying. QImage takes the scan lines of
    // a buffer given without a line stride as 4-byte aligned: the layout
    // FrameStride describes, which is the one the host's GrabImage writes.
    static QImage WrapBuffer(const unsigned char* pBuffer, bool bColour, int nWidth, int nHeight);
    // Bytes from one row of a frame to the next in a frame buffer: the row's
    // pixels (3 bytes each in colour, 1 in gray) padded to a multiple of 4.
    // A 1001-pixel gray row takes 1004 bytes, a 1003-pixel colour row 3012.
    static int FrameStride(int nWidth, bool bColour);
    // Bytes of a whole frame in that layout (FrameStride x height), in the
    // 32-bit signed arithmetic of the frame buffer sizes.
    static int FrameBytes(int nWidth, int nHeight, bool bColour);

    // Where the pixmap is made. Pixmaps can be painted on the worker only when
    // the graphics platform supports threaded pixmaps; otherwise the worker
    // composes an image and the pixmap is made from it on the GUI thread just
    // before updatePixmap is emitted.
    enum class ComposeMode { Auto, WorkerPixmap, GuiThreadPixmap };
    static void SetComposeMode(ComposeMode mode);
    static bool ComposesPixmapOnWorker();

signals:
    void resultReady();
    void updateUIBtn(int isEnable);
    void updatePixmap(QPixmap pixmap);
    void getShowLabelWH(int*, int*);
    void getBuff(char** pImageBuffer, bool* isColorful, bool* iscontinue, bool* isCanSend, int* showW, int* showH,
                 int* imageW, int* imageH, int* imageW1, int* imageH1, int* BoundXMax, int* BoundXMin,
                 int* BoundYMax, int* BoundYMin);

protected:
    void run() override;

public:
    int m_nMode = 0;                      // set by the panel; read by nothing
    unsigned char* m_pImageBuffer = nullptr; // frame buffer, owned; freed only by ReleaseBuffer
    std::vector<IZKGePolyline*> m_vecPolylines; // owned clones of the panel's search outlines (kept, not drawn)
    std::atomic<int> m_bRunning{1};       // 1 = grab frames; 0 = paused
    std::atomic<int> m_bParked{0};        // 1 while the worker sits in its paused section
    std::atomic<int> m_nShowW{0};         // size of the picture label
    std::atomic<int> m_nShowH{0};
    std::atomic<QWidget*> m_pShowLabel{nullptr}; // the panel's picture label, not owned; null detaches
    CLock m_lockBuffer;                   // guards the frame buffer and the outlines against release and replacement
    CLock m_lockSpare;                    // never entered
    QMutex m_mutex;                       // the pause protocol
    QWaitCondition m_cond;
    std::atomic<bool> m_bAck{false};      // the worker reached a safe point after a pause request
    bool m_bPauseRequested = false;       // set by Pause, cleared by Resume and on leaving the paused section

    // Bytes of the frame buffer now held (0 without one).
    int bufferBytes() const { return m_nBufferBytes.load(); }

private:
    void publish(const QImage& composed);
    void takeLabelSize();

    // Size of m_pImageBuffer: changed under the buffer lock, read by others without it.
    std::atomic<int> m_nBufferBytes{0};
    // The frame size the buffer was last allocated for (the live loop's own).
    int m_nBufferW = 0;
    int m_nBufferH = 0;
    std::atomic<bool> m_bStopRequested{false};
};
