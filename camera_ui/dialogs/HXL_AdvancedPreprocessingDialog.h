#pragma once

#include <QDialog>

#include <cstdint>

class QCheckBox;
class QComboBox;
class QLabel;
class QSlider;
class HXL_ShowDealWithDialog;

// The large pre-processing dialog: every processing parameter of the camera
// manager at once. Unlike the simple pop-ups it edits a private working copy
// and writes the whole copy into the host only when it applies; mode changes
// apply through 300 ms timers, one per group. A second copy, taken when the
// dialog is built, is what Cancel, Esc and the close button write back.
//
// The "filter" and "filterPole" groups are shown but not wired (their fields
// pass through unchanged), and no morphology widget is built although its
// slots exist.
//
// It loads, applies and restores the camera manager's record without checking
// for the manager: it is the record's editor, and a host that opens it has
// registered the manager.
class HXL_AdvancedPreprocessingDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXL_AdvancedPreprocessingDialog(QWidget* parent);
    ~HXL_AdvancedPreprocessingDialog() override;

    // The opener builds the dialog right after constructing it: load from the
    // host, make the widgets, fill them, then connect them.
    void InitUI();

protected:
    void timerEvent(QTimerEvent* event) override;

public:
    // Esc and the close button: restore, then report the close twice (once
    // before and once after the dialog is rejected).
    void reject() override;

signals:
    void sigGrayParamChanged();
    void sigAppication();
    void sigClose();

public slots:
    void slotSatChange(int value);
    void slotSatSliderValueChanged(int value);
    void slotBriChange(int value);
    void slotBriSliderValueChanged(int value);
    void slotBriSliderValueWidthChanged(int value);
    void slotChannelMode(int value);
    void slotGrayMode(int value);
    void slotGraySliderValueChanged(int value);
    void slotGraySliderValueWidthChanged(int value);
    void slotMorphologyTypeCboChanged(int value);
    void slotMorphologySliderWValueChanged(int value);
    void slotMorphologySliderHValueChanged(int value);
    void slotApplication();
    void slotvagueSliderValueChanged(int value);
    void slotOK();
    void slotCancle();
    void slotInverChange(int value);
    void slotSharpeningEnableChange(int value);
    void slotfilerModeChange(int mode);
    void slotMinValueChange(int value);
    void slotMaxValueChange(int value);
    void slotfilerPoleModeChange(int mode);
    void slotPoleValueChange(int value);
    void slotSharpening(int value);

private:
    // One value per processing field, in the order of the host's record.
    struct ProcessingValues
    {
        int32_t nSatMode = 0;
        int32_t nSatValue = 0;
        int32_t nBriMode = 0;
        int32_t nBriWidth = 0;
        int32_t nBriValue = 0;
        int32_t nChannelMode = 0;   // nGrayMode
        int32_t nGrayMode = 0;      // nGrayProMode
        int32_t nGrayWidth = 0;
        int32_t nGrayValue = 0;
        int32_t nMorphologyType = 0;
        int32_t nMorphologyW = 0;
        // Never read from the host, only written back by Cancel. It starts at
        // 0, so a Cancel puts 0 into the host's nMorphologyH.
        int32_t nMorphologyH = 0;
        int32_t nSharpening = 0;
        int32_t nSharpenKernel = 0;
        int32_t nFilterMode = 0;
        int32_t nFilterMin = 1;
        int32_t nFilterMax = 1;
        int32_t nFilterPoleMode = 0;
        int32_t nFilterPoleValue = 1;
        int32_t nInver = 0;
        int32_t nVagueValue = 3;    // nGoInterfereValue
    };

    // A debounce timer of one group: the id of the newest timer started and its interval.
    struct DebounceTimer
    {
        int nTimerId = -1;
        int nInterval = 300;
    };

    void loadFromHost();
    void buildWidgets();
    void fillWidgets();
    void connectWidgets();
    void startDebounceTimer(DebounceTimer& timer);
    void writeToHost(const ProcessingValues& values);
    void restoreSavedValues();
    void setSatValueWidgetsEnabled(bool bEnabled);
    void setBriValueWidgetsEnabled(bool bEnabled);
    void setGrayValueWidgetsEnabled(bool bEnabled);

    ProcessingValues m_current; // the working copy
    ProcessingValues m_saved;   // taken when the dialog is built

    DebounceTimer m_morphologyTypeTimer;
    DebounceTimer m_satModeTimer;
    DebounceTimer m_briModeTimer;
    DebounceTimer m_channelModeTimer;
    DebounceTimer m_grayModeTimer;
    DebounceTimer m_filterModeTimer;
    DebounceTimer m_filterPoleModeTimer;

    HXL_ShowDealWithDialog* m_pShowDealWithDialog = nullptr;

    QComboBox* m_pSatCombo = nullptr;
    QSlider* m_pSatSlider = nullptr;
    QLabel* m_pSatValueLabel = nullptr;
    QComboBox* m_pBriCombo = nullptr;
    QSlider* m_pBriSlider = nullptr;
    QLabel* m_pBriValueLabel = nullptr;
    QSlider* m_pBriWidthSlider = nullptr;
    QLabel* m_pBriWidthLabel = nullptr;
    QComboBox* m_pChannelCombo = nullptr;
    QComboBox* m_pGrayModeCombo = nullptr;
    QSlider* m_pGraySlider = nullptr;
    QLabel* m_pGrayValueLabel = nullptr;
    QSlider* m_pGrayWidthSlider = nullptr;
    QLabel* m_pGrayWidthLabel = nullptr;
    // The morphology controls are not part of this dialog; they stay null.
    QComboBox* m_pMorphologyTypeCbo = nullptr;
    QSlider* m_pMorphologySliderW = nullptr;
    QLabel* m_pMorphologyWValueLabel = nullptr;
    QSlider* m_pMorphologySliderH = nullptr;
    QLabel* m_pMorphologyHValueLabel = nullptr;
    QSlider* m_pVagueSlider = nullptr;
    QLabel* m_pVagueValueLabel = nullptr;
    QCheckBox* m_pInverCheck = nullptr;
    QComboBox* m_pFilterModeCombo = nullptr;
    QSlider* m_pMinSlider = nullptr;
    QSlider* m_pMaxSlider = nullptr;
    QLabel* m_pMinValueLabel = nullptr;
    QLabel* m_pMaxValueLabel = nullptr;
    QComboBox* m_pPoleModeCombo = nullptr;
    QSlider* m_pPoleSlider = nullptr;
    QLabel* m_pPoleValueLabel = nullptr;
    QComboBox* m_pSharpeningCombo = nullptr;
};
