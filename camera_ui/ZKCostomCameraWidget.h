#pragma once

#include "HXL_ModuleGlobals.h"
#include "IZKCostomCameraWidget.h"

#include "host/IZKEventManger.h"

#include <QPixmap>
#include <QString>
#include <QWidget>

#include <vector>

class QCheckBox;
class QComboBox;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QSlider;
class QTabWidget;
class IZKGePolyline;
class IZKVisionCameraManager;
class HXLDisplayLabel;
class HXL_RefreshCameraThread;
class HXL_ShowDealWithDialog;

// The camera panel: the live picture with its command buttons, the picture
// pre-processing controls and the auto-photo switch. The authoritative
// processing values live in the host camera manager; the panel mirrors the
// ones its controls show.
class ZKCostomCameraWidget : public QWidget, public IZKEventListener, public IZKCostomCameraWidget
{
    Q_OBJECT
public:
    explicit ZKCostomCameraWidget(QWidget* parent);
    ~ZKCostomCameraWidget() override;

    // IZKEventListener
    void OnEvent(int nEventId, int* pParam) override;
    // IZKCostomCameraWidget
    QWidget* GetWidget() override;
    void InitWidget() override;

    // How the open-picture command asks for a file (the host's file dialog by
    // default); replaceable so that the command can run without a person.
    using OpenFileNameFunction = QString (*)(QWidget* pParent, const QString& strCaption, const QString& strDir,
                                             const QString& strFilter);
    static void SetOpenFileNameFunction(OpenFileNameFunction pfn);
    // The open-picture dialog's caption and filter.
    static QString OpenPictureCaption();
    static QString OpenPictureFilter();
    // The panel's style sheet.
    static QString PanelStyleSheet();

signals:
    void sigGrayParamChanged();
    void sigAppication();

public slots:
    void slotMakePhoto();
    void slotSatChange(int value);
    void slotLightChange(int);
    void slotGrayModeChange(int);
    void slotGrayProChange(int);
    void slotMorphyModeChange(int);
    void slotMorphySizeChange(int);
    void slotImageGainChange(int);
    void slotInverChange(int bCheck);
    void slotShowGrayChange(int);
    void slotShowPreviewFullScreen();
    void slotCameraParameter();
    void slotCapture();
    void slotApplication();
    void slotOpenThePicture();
    void slotUpdatePhotographBtn(int ienable);
    void slotUpdataShowLabel(QPixmap pixmap);
    void slotSetShowLabelWH(int*, int*);
    void slotSetBuff(char**, bool* isColorful, bool* iscontinue, bool* isCanSend, int* showW, int* showH,
                     int* imageW, int* imageH, int* imageW1, int* imageH1, int* BoundXMax, int* BoundXMin,
                     int* BoundYMax, int* BoundYMin);
    void slotAutoPhoto(int index);
    void slotSatSliderValueChanged(int);
    void slotBriSliderValueChanged(int);
    void slotGraSliderValueChanged(int);
    void slotAdvancedSetting(int);
    void slotAdvancedSetting1(int);
    void slotSeniorBtn();
    void slotSeniorBtn1();
    void slotDealWithDialog();
    void slotDealWithDialog1();
    void slotOpenVideo();
    void slotTurnOffTheVideo();
    void slotSharpeningChanged(int);
    void slotCameraChange(int);
    void slotSatDef(int);
    void slotSatSetting();
    void slotBriDef(int);
    void slotBriSetting();
    void slotDeInterfered(int);
    void slotDeInterferedDef(int);
    void slotDefDeInterfered(int);
    void slotGrayPro(int);
    void slotGrayscaleEqualization(int);
    void slotGrayParamChanged();

protected:
    void timerEvent(QTimerEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    // Turns every pre-processing control on or off; on, with their dependencies.
    void EnableParamControls(bool bEnable);
    // Replaces the refresh thread's outlines with the search range of the model "Main".
    void UpdateThreadPolylines(std::vector<IZKGePolyline*>& vecOutlines);
    // Stops the refresh thread's grabbing and detaches it (host closing the camera, or teardown).
    void DetachRefreshThread();
    // Puts the processed picture on the drawing's picture layer.
    void HandOverProcessedPicture();
    void HandOverOpenedPicture();
    // Size in millimetres of the adapter's picture at a resolution (kept for its host calls).
    void PictureSizeMm(int nDpi, int& nWidthMm, int& nHeightMm);
    // The host view refresh: main application, document, view, refresh.
    static void RefreshHostView();
    template <class Dialog>
    void PopUpSimpleDialog(QWidget* pParent);
    int StartDebounceTimer();
    // A switch of the host's record: written in place; then the host
    // configuration is saved and an apply is asked for.
    static void WriteRecordFlag(bool IZKVisionCameraManager::*pField, bool bValue);
    void SaveAndApply();

public:
    QHBoxLayout* m_pMainLayout = nullptr;
    HXLDisplayLabel* m_pShowLabel = nullptr;
    QPushButton* m_pPhotographBtn = nullptr;
    HXL_RefreshCameraThread* m_pRefreshThread = nullptr;
    QCheckBox* m_pAutoPhotoCheck = nullptr;
    QLabel* m_pGraySliderLabel = nullptr;
    QSlider* m_pGraySlider = nullptr;
    QWidget* m_pAdvancedBtn = nullptr;
    QPushButton* m_pAdvancedBtn1 = nullptr;
    QCheckBox* m_pAdvancedCheck1 = nullptr;
    QComboBox* m_pSatCombo = nullptr;
    QComboBox* m_pBriCombo = nullptr;
    QComboBox* m_pGrayModeCombo = nullptr;
    QCheckBox* m_pInverCheck = nullptr;
    HXL_ShowDealWithDialog* m_pDealWithDialog = nullptr;
    QTabWidget* m_pTabWidget = nullptr;
    QComboBox* m_pSharpeningCombo = nullptr;
    QComboBox* m_pCameraCombo = nullptr;
    QCheckBox* m_pBriDefCheck = nullptr;
    QCheckBox* m_pSatDefCheck = nullptr;
    QPushButton* m_pSatSettingBtn = nullptr;
    QPushButton* m_pBriSettingBtn = nullptr;
    QCheckBox* m_pDeInterferedCheck = nullptr;
    QCheckBox* m_pDeInterferedDefCheck = nullptr;
    QPushButton* m_pDeInterferedSettingBtn = nullptr;
    QCheckBox* m_pGrayProCheck = nullptr;
    QPushButton* m_pGrayRestoreBtn = nullptr;
    QPushButton* m_pGraySettingBtn = nullptr;
    QCheckBox* m_pGrayEqualizationCheck = nullptr;
    int m_nSatMode = 0;
    int m_nBriMode = 0;
    int m_nGrayMode = 0;
    int m_nGrayProMode = 0;
    int m_nSharpeningIndex = 0;
    int m_nInver = 0;
    int m_nTimerInterval = 100;
    int m_nReserved100 = 100;
    int m_nSatValue = 10;
    int m_nBriValue = 7;
    int m_nGrayValue = 7;
    std::vector<IZKGePolyline*> m_vecSearchOutline;
    int m_nTimerId0 = -1;
    int m_nTimerId1 = -1;
    int m_nTimerId2 = -1;
    int m_nTimerId3 = -1;
    int m_nTimerId4 = -1;
    int m_nTimerId5 = -1;
    int m_nReserved0 = 0;
    int m_nReserved1 = 0;
    int m_nReserved2 = 0;
    int m_nReserved3 = 0;
    int m_nAdvancedSetting = 0;
    int m_nImageDpi = 100;
    bool m_bDeInterfered = false;
    bool m_bSatDef = true;
    bool m_bBriDef = true;
    bool m_bDeInterferedDef = true;
    bool m_bGrayscaleEqualization = false;
    bool m_bGrayPro = false;
    bool m_bReserved0 = false;
    bool m_bReserved1 = false;
};
