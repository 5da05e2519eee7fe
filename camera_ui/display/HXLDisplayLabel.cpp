#include "HXLDisplayLabel.h"

#include "HXL_ModuleGlobals.h"

#include "host/HXL_HostFunctions.h"
#include "host/IZKDatabase.h"
#include "host/IZKVisionCameraManager.h"
#include "host/ZKGeometry.h"

#include <QFont>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPen>

#include <cmath>
#include <cstdio>

namespace {

// A fresh settings file holds zeros; such a range means "not chosen yet" and
// becomes the middle 80 % of the picture. The interval is lopsided on purpose
// (the host's own check is), so a tiny negative fraction survives.
bool IsUnsetFraction(double dValue)
{
    return dValue >= -0.00001 && dValue <= 0.000001;
}

// Picture fallback for a camera that does not know its frame size yet.
constexpr int kDefaultImageWidth = 1280;
constexpr int kDefaultImageHeight = 1024;

// Without a calibrated picture extent, the machine move assumes this many
// picture pixels per millimetre.
constexpr double kFallbackPixelsPerMm = 5.0;

// The label's outlines come from the host's entity factory; without it they
// do not exist, and an outline that does not exist has no vertex and no box.
int VertexCount(const IZKGePolyline* pLine)
{
    return pLine ? pLine->GetVertexCount() : 0;
}

IZKBound* BoundOf(IZKGePolyline* pLine)
{
    return pLine ? pLine->GetBound() : nullptr;
}

QPainterPath PolylinePath(const IZKGePolyline* pLine)
{
    QPainterPath path;
    const int nCount = VertexCount(pLine);
    for (int i = 0; i < nCount; ++i) {
        const ZKGePoint pt = pLine->GetVertexAt(i);
        const QPointF at(static_cast<int>(pt.x), static_cast<int>(pt.y));
        if (i == 0)
            path.moveTo(at);
        else
            path.lineTo(at);
    }
    return path;
}

QRectF BoundRect(IZKGePolyline* pLine)
{
    IZKBound* pBound = BoundOf(pLine);
    if (!pBound)
        return QRectF();
    return QRectF(QPointF(pBound->GetMinX(), pBound->GetMinY()), QPointF(pBound->GetMaxX(), pBound->GetMaxY()));
}

} // namespace

HXLDisplayLabel::HXLDisplayLabel(QWidget* parent) : QLabel(parent, Qt::WindowFlags())
{
    m_nHitHandle = -1;

    // Without the factory (or a polyline from it) the label shows its picture
    // but no range: nothing is drawn, selected or committed, and a right click
    // moves nothing.
    if (IZKEntityFactory* pFactory = HXL_GetEntityFactory()) {
        m_pSelectLine = pFactory->CreatePolyline();
        m_pImageRectLine = pFactory->CreatePolyline();
        m_pCalibRangeLine = pFactory->CreatePolyline();
    }

    // Moves must arrive with no button held so that the cursor can follow
    // the handles of the selection in edit status.
    setAttribute(Qt::WA_MouseTracking);

    m_dSelectPer[0] = dPerMinX;
    m_dSelectPer[1] = dPerMaxX;
    m_dSelectPer[2] = dPerMinY;
    m_dSelectPer[3] = dPerMaxY;

    installEventFilter(this);
}

HXLDisplayLabel::~HXLDisplayLabel()
{
    for (IZKGePolyline* pLine : {m_pSelectLine, m_pImageRectLine, m_pCalibRangeLine}) {
        if (pLine)
            pLine->Release();
    }
}

// --- geometry -------------------------------------------------------------------------

void HXLDisplayLabel::UpdateImageRect()
{
    // Without the camera manager there is no camera: nothing changes.
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    if (!pManager || pManager->GetCameraCount() == 0)
        return;
    if (!m_pImageRectLine)
        return;

    int nImageWidth = 0;
    int nImageHeight = 0;
    if (IZKVisionCamera* pCamera = pManager->GetCamera(pManager->GetCurCameraIndex())) {
        nImageWidth = pCamera->GetImageWidth(true);
        nImageHeight = pCamera->GetImageHeight(true);
    }
    if (nImageWidth == 0 || nImageHeight == 0) {
        nImageWidth = kDefaultImageWidth;
        nImageHeight = kDefaultImageHeight;
    }

    m_bImageRectValid = true;

    const int w = width();
    const int h = height();
    const double a = static_cast<double>(nImageWidth) / nImageHeight;
    const double b = static_cast<double>(w) / h;
    int nFitWidth = 0;
    int nFitHeight = 0;
    if (a > b) {
        nFitWidth = w;
        nFitHeight = static_cast<int>(w / a);
    } else {
        nFitHeight = h;
        nFitWidth = static_cast<int>(h * a);
    }
    const int x0 = (w - nFitWidth) / 2;
    const int y0 = (h - nFitHeight) / 2;

    m_pImageRectLine->Clear();
    m_pImageRectLine->AddVertex(ZKGePoint(x0, y0, 0));
    m_pImageRectLine->AddVertex(ZKGePoint(x0 + nFitWidth, y0, 0));
    m_pImageRectLine->AddVertex(ZKGePoint(x0 + nFitWidth, y0 + nFitHeight, 0));
    m_pImageRectLine->AddVertex(ZKGePoint(x0, y0 + nFitHeight, 0));
    m_pImageRectLine->AddVertex(ZKGePoint(x0, y0, 0));
}

void HXLDisplayLabel::BuildRectFromPer(IZKGePolyline* pLine, const double dPer[4]) const
{
    IZKBound* pImage = BoundOf(m_pImageRectLine);
    if (!pImage || !pLine)
        return;
    const double dMinX = pImage->GetMinX();
    const double dMinY = pImage->GetMinY();
    const double W = pImage->GetWidth();
    const double H = pImage->GetHeight();
    const double dLeft = dPer[0];
    const double dRight = dPer[1];
    const double dBottom = dPer[2];
    const double dTop = dPer[3];

    // y of the fractions grows upward from the picture's bottom edge.
    pLine->AddVertex(ZKGePoint(dMinX + W * dLeft, dMinY + H * (1.0 - dTop), 0));
    pLine->AddVertex(ZKGePoint(dMinX + W * dRight, dMinY + H * (1.0 - dTop), 0));
    pLine->AddVertex(ZKGePoint(dMinX + W * dRight, dMinY + H * (1.0 - dBottom), 0));
    pLine->AddVertex(ZKGePoint(dMinX + W * dLeft, dMinY + H * (1.0 - dBottom), 0));
    pLine->AddVertex(ZKGePoint(dMinX + W * dLeft, dMinY + H * (1.0 - dTop), 0));
}

void HXLDisplayLabel::UpdateSelectRect()
{
    if (VertexCount(m_pImageRectLine) == 0 || !m_pSelectLine)
        return;

    static const double kDefaults[4] = {0.1, 0.9, 0.1, 0.9};
    for (int i = 0; i < 4; ++i) {
        if (IsUnsetFraction(m_dSelectPer[i]))
            m_dSelectPer[i] = kDefaults[i];
    }

    m_pSelectLine->Clear();
    BuildRectFromPer(m_pSelectLine, m_dSelectPer);
}

void HXLDisplayLabel::SaveSelectPer()
{
    dPerMinX = m_dSelectPer[0];
    dPerMaxX = m_dSelectPer[1];
    dPerMinY = m_dSelectPer[2];
    dPerMaxY = m_dSelectPer[3];
}

void HXLDisplayLabel::CommitSelection()
{
    IZKBound* pSelect = BoundOf(m_pSelectLine);
    IZKBound* pImage = BoundOf(m_pImageRectLine);
    if (!pSelect || !pImage)
        return;
    const double W = pImage->GetWidth();
    const double H = pImage->GetHeight();
    const double dLeft = (pSelect->GetMinX() - pImage->GetMinX()) / W;
    const double dRight = (pSelect->GetMaxX() - pImage->GetMinX()) / W;
    const double dBottom = (pImage->GetMaxY() - pSelect->GetMaxY()) / H;
    const double dTop = (pImage->GetMaxY() - pSelect->GetMinY()) / H;

    m_dSelectPer[0] = dLeft;
    m_dSelectPer[1] = dRight;
    m_dSelectPer[2] = dBottom;
    m_dSelectPer[3] = dTop;
    Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(dLeft, dRight, dBottom, dTop);
    SaveSelectPer();
}

void HXLDisplayLabel::ClampPoint(QPoint& pt) const
{
    IZKBound* pImage = BoundOf(m_pImageRectLine);
    if (!pImage)
        return;
    if (pt.x() > pImage->GetMaxX())
        pt.setX(static_cast<int>(pImage->GetMaxX()));
    if (pt.x() < pImage->GetMinX())
        pt.setX(static_cast<int>(pImage->GetMinX()));
    if (pt.y() > pImage->GetMaxY())
        pt.setY(static_cast<int>(pImage->GetMaxY()));
    if (pt.y() < pImage->GetMinY())
        pt.setY(static_cast<int>(pImage->GetMinY()));
}

void HXLDisplayLabel::ClampPoint(ZKGePoint& pt) const
{
    IZKBound* pImage = BoundOf(m_pImageRectLine);
    if (!pImage)
        return;
    if (pt.x > pImage->GetMaxX())
        pt.x = static_cast<int>(pImage->GetMaxX());
    if (pt.x < pImage->GetMinX())
        pt.x = static_cast<int>(pImage->GetMinX());
    if (pt.y > pImage->GetMaxY())
        pt.y = static_cast<int>(pImage->GetMaxY());
    if (pt.y < pImage->GetMinY())
        pt.y = static_cast<int>(pImage->GetMinY());
}

void HXLDisplayLabel::ClampPolyline(IZKGePolyline* pLine) const
{
    const int nCount = VertexCount(pLine);
    for (int i = 0; i < nCount; ++i) {
        ZKGePoint pt = pLine->GetVertexAt(i);
        ClampPoint(pt);
        pLine->SetVertexAt(i, pt);
    }
}

int HXLDisplayLabel::HitTest(const QPoint& p) const
{
    IZKBound* pSelect = BoundOf(m_pSelectLine);
    if (!pSelect)
        return -1;
    const double x = p.x();
    const double y = p.y();
    const double dMinX = pSelect->GetMinX();
    const double dMaxX = pSelect->GetMaxX();
    const double dMinY = pSelect->GetMinY();
    const double dMaxY = pSelect->GetMaxY();
    const ZKGePoint c = pSelect->GetCenter();
    auto within = [](double a, double b, double t) { return std::fabs(a - b) < t; };

    // Edge midpoints first with the widest tolerance, so that on a small
    // selection they win over the corners; then the centre, then the corners.
    if (within(x, c.x, 10) && within(y, dMinY, 10))
        return 3;
    if (within(x, c.x, 10) && within(y, dMaxY, 10))
        return 7;
    if (within(x, dMinX, 10) && within(y, c.y, 10))
        return 9;
    if (within(x, dMaxX, 10) && within(y, c.y, 10))
        return 5;
    if (within(x, dMinX, 2) && within(y, dMinY, 2))
        return 2;
    if (within(x, c.x, 5) && within(y, c.y, 5))
        return 1;
    if (within(x, dMaxX, 2) && within(y, dMinY, 2))
        return 4;
    if (within(x, dMaxX, 2) && within(y, dMaxY, 2))
        return 6;
    if (within(x, dMinX, 2) && within(y, dMaxY, 2))
        return 8;
    return -1;
}

bool HXLDisplayLabel::SelectionInsideImage() const
{
    IZKBound* pSelect = BoundOf(m_pSelectLine);
    IZKBound* pImage = BoundOf(m_pImageRectLine);
    if (!pSelect || !pImage)
        return true;
    return !(pSelect->GetMinX() < pImage->GetMinX() || pSelect->GetMaxX() > pImage->GetMaxX()
             || pSelect->GetMinY() < pImage->GetMinY() || pSelect->GetMaxY() > pImage->GetMaxY());
}

void HXLDisplayLabel::MoveSelection()
{
    if (!m_pSelectLine)
        return;
    const double dx = m_curPos.x() - m_pressPos.x();
    const double dy = m_curPos.y() - m_pressPos.y();
    m_pSelectLine->Move(dx, dy);
    // A move that would push the range off the picture is refused whole.
    if (!SelectionInsideImage())
        m_pSelectLine->Move(-dx, -dy);

    m_pressPos = m_curPos;
    ClampPoint(m_pressPos);
}

void HXLDisplayLabel::ResizeSelection()
{
    IZKBound* pSelect = BoundOf(m_pSelectLine);
    if (!pSelect)
        return;
    const double dMinX = pSelect->GetMinX();
    const double dMaxX = pSelect->GetMaxX();
    const double dMinY = pSelect->GetMinY();
    const double dMaxY = pSelect->GetMaxY();
    const ZKGePoint c = pSelect->GetCenter();

    // The point opposite the dragged handle stays where it is.
    ZKGePoint anchor(0, 0, 0);
    switch (m_nHitHandle) {
    case 2: anchor = ZKGePoint(dMaxX, dMaxY, 0); break;
    case 3: anchor = ZKGePoint(c.x, dMaxY, 0); break;
    case 4: anchor = ZKGePoint(dMinX, dMaxY, 0); break;
    case 5: anchor = ZKGePoint(dMinX, c.y, 0); break;
    case 6: anchor = ZKGePoint(dMinX, dMinY, 0); break;
    case 7: anchor = ZKGePoint(c.x, dMinY, 0); break;
    case 8: anchor = ZKGePoint(dMaxX, dMinY, 0); break;
    case 9: anchor = ZKGePoint(dMaxX, c.y, 0); break;
    default: break;
    }

    double sx = (m_curPos.x() - anchor.x) / (m_pressPos.x() - anchor.x);
    double sy = (m_curPos.y() - anchor.y) / (m_pressPos.y() - anchor.y);
    if (m_nHitHandle == 5 || m_nHitHandle == 9)
        sy = 1.0;
    if (m_nHitHandle == 3 || m_nHitHandle == 7)
        sx = 1.0;

    m_pSelectLine->Scale(anchor, sx, sy);
    // No refusal here: dragging past the edge leaves the range cut at the edge.
    ClampPolyline(m_pSelectLine);

    m_pressPos = m_curPos;
    ClampPoint(m_pressPos);
}

void HXLDisplayLabel::MoveMachineToPoint(const QPoint& pt)
{
    IZKBound* pImage = BoundOf(m_pImageRectLine);
    if (!pImage)
        return;
    const ZKGePoint c = pImage->GetCenter();
    const double fx = (pt.x() - c.x) / pImage->GetWidth();
    const double fy = (pt.y() - c.y) / pImage->GetHeight();

    // Without the camera manager there is neither a calibrated extent nor a
    // camera size: the target is where the machine stands.
    IZKVisionCameraManager* pManager = HXL_GetVisionCameraManager();
    double dx = 0.0;
    double dy = 0.0;
    if (IZKBound* pCalBound = pManager ? pManager->GetCamerasCalImageBound() : nullptr) {
        dx = pCalBound->GetWidth() * fx;
        dy = pCalBound->GetHeight() * fy;
    } else {
        int nImageWidth = 0;
        int nImageHeight = 0;
        if (IZKVisionCamera* pCamera = pManager ? pManager->GetCamera(pManager->GetCurCameraIndex()) : nullptr) {
            nImageWidth = pCamera->GetImageWidth(true);
            nImageHeight = pCamera->GetImageHeight(true);
        }
        dx = nImageWidth * fx / kFallbackPixelsPerMm;
        dy = nImageHeight * fy / kFallbackPixelsPerMm;
    }

    double dX = 0.0;
    double dY = 0.0;
    HXL_GetCurPos(dX, dY);
    // Picture y points down, machine y up.
    HXL_MachineMoveTo(dX + dx, dY - dy);
    MovableCam_SetCurMachineMmPos(dX + dx, dY - dy);
}

QRectF HXLDisplayLabel::imageRect() const
{
    return BoundRect(m_pImageRectLine);
}

QRectF HXLDisplayLabel::calibRect() const
{
    return BoundRect(m_pCalibRangeLine);
}

QRectF HXLDisplayLabel::selectRect() const
{
    return BoundRect(m_pSelectLine);
}

// --- events -----------------------------------------------------------------------------

bool HXLDisplayLabel::event(QEvent* event)
{
    if (event->type() == QEvent::MouseButtonDblClick) {
        // The base class turns the double click into one more press; that
        // press must not start a new range.
        m_bDbClick = 1;
        emit sigDbClicked();
    }
    return QLabel::event(event);
}

bool HXLDisplayLabel::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonDblClick) {
        auto* pMouse = static_cast<QMouseEvent*>(event);
        if (pMouse->button() == Qt::RightButton)
            return true;
    }
    return QLabel::eventFilter(watched, event);
}

void HXLDisplayLabel::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        if (m_IsSelect) {
            m_pressPos = event->pos();
            m_curPos = event->pos();
            ClampPoint(m_pressPos);
            ClampPoint(m_curPos);
            m_bDragging = true;
            return;
        }
        m_bDragging = false;
        if (!m_bDrawing && !m_bDbClick) {
            m_bDrawing = true;
            m_pressPos = event->pos();
            m_curPos = event->pos();
            ClampPoint(m_pressPos);
            ClampPoint(m_curPos);
        }
        if (m_bDbClick) {
            m_bDbClick = 0;
            return;
        }
    } else if (event->button() == Qt::RightButton) {
        if (VertexCount(m_pImageRectLine) > 0) {
            if (m_IsSelect)
                CommitSelection();
            else
                MoveMachineToPoint(event->pos());
        }
        m_IsSelect = false;
    }
}

void HXLDisplayLabel::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;

    m_bDrawing = false;
    m_bDragging = false;

    // Not normalised: only a drag right and down gives a positive size, so
    // ranges are drawn from their top-left corner only.
    const QRect rect(m_pressPos, m_curPos);
    if (rect.width() > 4 && rect.height() > 4 && m_bDbClick == 0) {
        if (m_IsSelect || !m_pSelectLine)
            return;
        m_rectStart = m_pressPos;
        m_rectEnd = m_curPos;
        ClampPoint(m_rectStart);
        ClampPoint(m_rectEnd);
        m_pSelectLine->Clear();
        m_pSelectLine->AddVertex(ZKGePoint(m_rectStart.x(), m_rectStart.y(), 0));
        m_pSelectLine->AddVertex(ZKGePoint(m_rectEnd.x(), m_rectStart.y(), 0));
        m_pSelectLine->AddVertex(ZKGePoint(m_rectEnd.x(), m_rectEnd.y(), 0));
        m_pSelectLine->AddVertex(ZKGePoint(m_rectStart.x(), m_rectEnd.y(), 0));
        m_pSelectLine->AddVertex(ZKGePoint(m_rectStart.x(), m_rectStart.y(), 0));
        ClampPolyline(m_pSelectLine);
        if (VertexCount(m_pImageRectLine) > 0)
            CommitSelection();
    } else if (!m_IsSelect && m_pSelectLine) {
        // A click on the selection's outline starts its edit status; the
        // right click that will end it must not open the panel's context menu.
        if (m_pSelectLine->IsPointOnCurve(ZKGePoint(m_curPos.x(), m_curPos.y(), 0), 4.0)) {
            m_IsSelect = true;
            g_bSkipContextMenu = true;
        }
    }
}

void HXLDisplayLabel::mouseMoveEvent(QMouseEvent* event)
{
    m_curPos = event->pos();
    ClampPoint(m_curPos);
    std::printf("HXLDisplayLabel::mouseMoveEvent\n");
    std::fflush(stdout);

    if (m_IsSelect) {
        std::printf("m_IsSelect\n");
        std::fflush(stdout);
        if (!m_bDragging) {
            m_nHitHandle = HitTest(m_curPos);
            switch (m_nHitHandle) {
            case 1: m_cursor = QCursor(Qt::SizeAllCursor); break;
            case 2:
            case 6: m_cursor = QCursor(Qt::SizeFDiagCursor); break;
            case 3:
            case 7: m_cursor = QCursor(Qt::SizeVerCursor); break;
            case 4:
            case 8: m_cursor = QCursor(Qt::SizeBDiagCursor); break;
            case 5:
            case 9: m_cursor = QCursor(Qt::SizeHorCursor); break;
            default: m_cursor = QCursor(Qt::ArrowCursor); break;
            }
            setCursor(m_cursor);
        } else if (m_nHitHandle != -1) {
            if (m_nHitHandle == 1)
                MoveSelection();
            else
                ResizeSelection();
        }
    } else {
        m_cursor = QCursor(Qt::ArrowCursor);
        setCursor(m_cursor);
        m_bDragging = false;
    }
}

void HXLDisplayLabel::keyPressEvent(QKeyEvent* event)
{
    QLabel::keyPressEvent(event);
}

void HXLDisplayLabel::paintEvent(QPaintEvent* event)
{
    QLabel::paintEvent(event);
    if (!m_bImageRectValid)
        return;

    QPainter painter(this);

    painter.setPen(QPen(QBrush(QColor(0, 100, 0)), 2, Qt::SolidLine));
    painter.drawPath(PolylinePath(m_pCalibRangeLine));

    if (m_bDrawing) {
        painter.setPen(QPen(QBrush(Qt::yellow), 2.0, Qt::DashLine, Qt::SquareCap, Qt::BevelJoin));
        painter.drawRect(QRect(m_pressPos, m_curPos));
        return;
    }

    if (!m_IsSelect) {
        painter.setPen(QPen(QBrush(QColor(0, 0, 153)), 2, Qt::DashDotLine));
        painter.drawPath(PolylinePath(m_pSelectLine));
        return;
    }

    painter.setPen(QPen(QBrush(QColor(255, 255, 0)), 3, Qt::DashLine));
    painter.drawPath(PolylinePath(m_pSelectLine));

    painter.setFont(QFont(QStringLiteral("Arial"), 12, 75));
    painter.setPen(QColor(255, 0, 0));
    painter.drawText(rect(), Qt::AlignLeft | Qt::AlignTop, tr("Right-click to exit the edit status"));

    const QPen handlePen(QBrush(Qt::red), 2.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    const QBrush handleBrush(QColor(255, 0, 0), Qt::SolidPattern);
    painter.setPen(handlePen);
    painter.setBrush(handleBrush);
    const int nCount = VertexCount(m_pSelectLine);
    for (int i = 0; i < nCount; ++i) {
        const ZKGePoint pt = m_pSelectLine->GetVertexAt(i);
        painter.drawRect(static_cast<int>(pt.x) - 3, static_cast<int>(pt.y) - 3, 6, 6);
    }
    if (IZKBound* pSelect = BoundOf(m_pSelectLine)) {
        const ZKGePoint c = pSelect->GetCenter();
        painter.drawRect(static_cast<int>(c.x) - 3, static_cast<int>(c.y) - 3, 6, 6);
    }
}

void HXLDisplayLabel::resizeEvent(QResizeEvent* /*event*/)
{
    m_dSelectPer[0] = dPerMinX;
    m_dSelectPer[1] = dPerMaxX;
    m_dSelectPer[2] = dPerMinY;
    m_dSelectPer[3] = dPerMaxY;

    double dCalibPer[4] = {0.0, 0.0, 0.0, 0.0};
    Dll_HXL_VisionFeature_GetSearchRangeCalibPer(dCalibPer[0], dCalibPer[1], dCalibPer[2], dCalibPer[3]);

    UpdateImageRect();

    if (m_pCalibRangeLine) {
        m_pCalibRangeLine->Clear();
        if (VertexCount(m_pImageRectLine) > 0)
            BuildRectFromPer(m_pCalibRangeLine, dCalibPer);
    }

    UpdateSelectRect();
    ClampPolyline(m_pSelectLine);

    Dll_HXL_VisionFeature_SetSearchRangeSelectedPer(m_dSelectPer[0], m_dSelectPer[1], m_dSelectPer[2],
                                                    m_dSelectPer[3]);
}
