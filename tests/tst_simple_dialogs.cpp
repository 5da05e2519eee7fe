// The four simple parameter pop-ups (brightness, gray, de-interference,
// saturation): building, editing the host record in place, applying,
// restoring, the wheel filter and the shared apply wait.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"
#include "dialogs/HXLBriSettingDialog.h"
#include "dialogs/HXLGaySettingDialog.h"
#include "dialogs/HXLGoInterfereSettingDialog.h"
#include "dialogs/HXLParamDialogCommon.h"
#include "dialogs/HXLSatSettingDialog.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimApp.h"
#include "services/SimCameraManager.h"

#include "host/ZKWindowManager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QStyledItemDelegate>
#include <QTemporaryDir>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <QtTest>

#include <memory>

using hostsim::HostSim;

namespace {

enum Kind
{
    Bri,
    Gay,
    GoInterfere,
    Sat
};

using Field = int32_t IZKVisionCameraManager::*;

// What tells the four pop-ups apart, as the host and the operator see it.
struct Variant
{
    int nTitleText;
    int nValueCaptionText;
    int nValueMin;
    Field value;
    Field valueDef;
    Field width;    // null without a width row
    Field widthDef;
    bool bPercent;  // value read-out with a per-cent sign
    int nWidthCaptionText; // -1: the width caption comes through tr("width")
};

Variant variant(Kind kind)
{
    using M = IZKVisionCameraManager;
    switch (kind) {
    case Bri:
        return {11, 39, 3, &M::nBriValue, &M::nBriValueDef, &M::nBriWidth, &M::nBriWidthDef, true, -1};
    case Gay:
        return {27, 39, 3, &M::nGrayValue, &M::nGrayValueDef, &M::nGrayWidth, &M::nGrayWidthDef, true, 42};
    case GoInterfere:
        return {23, 43, 1, &M::nGoInterfereValue, &M::nGoInterfereValueDef, nullptr, nullptr, false, -1};
    case Sat:
        break;
    }
    return {9, 39, 3, &M::nSatValue, &M::nSatValueDef, nullptr, nullptr, true, -1};
}

IZKVisionCameraManager& manager()
{
    return HostSim::cameraManager();
}

QDialog* createDialog(Kind kind, QWidget* pParent = nullptr)
{
    switch (kind) {
    case Bri:
        return new HXLBriSettingDialog(pParent);
    case Gay:
        return new HXLGaySettingDialog(pParent);
    case GoInterfere:
        return new HXLGoInterfereSettingDialog(pParent);
    case Sat:
        break;
    }
    return new HXLSatSettingDialog(pParent);
}

// Puts the switch of a pop-up where its value controls are editable.
void makeEditable(Kind kind)
{
    switch (kind) {
    case Bri:
        manager().nBriMode = 2;
        break;
    case Gay:
        manager().bGrayPro = true;
        break;
    case GoInterfere:
        break;
    case Sat:
        manager().nSatMode = 2;
        break;
    }
}

QGridLayout* grid(QDialog* pDialog)
{
    auto* pGroup = pDialog->findChild<QGroupBox*>();
    return pGroup ? qobject_cast<QGridLayout*>(pGroup->layout()) : nullptr;
}

template <class T>
T* cell(QDialog* pDialog, int nRow, int nColumn)
{
    QGridLayout* pGrid = grid(pDialog);
    if (!pGrid)
        return nullptr;
    QLayoutItem* pItem = pGrid->itemAtPosition(nRow, nColumn);
    return pItem ? qobject_cast<T*>(pItem->widget()) : nullptr;
}

QString valueText(Kind kind, int nValue)
{
    return variant(kind).bPercent ? QStringLiteral("%1%").arg(nValue) : QString::number(nValue);
}

int applyCount()
{
    return HostSim::journal().count(QStringLiteral("IMainWindow::slotImageParamChanged()"));
}

int refreshCount()
{
    return HostSim::journal().count(QStringLiteral("IZKView::RefreshView(true)"));
}

HXL_ShowDealWithDialog* notice(QDialog* pDialog)
{
    return pDialog->findChild<HXL_ShowDealWithDialog*>();
}

// The journal without the text look-ups that the processing notice makes
// while it animates.
QStringList hostCalls()
{
    QStringList calls;
    for (const QString& line : HostSim::journal().lines()) {
        if (!line.startsWith(QLatin1String("IHXLLanguageManager::GetText")))
            calls << line;
    }
    return calls;
}

const QStringList kApplyCalls = {
    QStringLiteral("IMainWindow::slotImageParamChanged()"), QStringLiteral("ZKAppService::GetMainApp()"),
    QStringLiteral("ZKGloabVisionAppBase::GetDocument()"), QStringLiteral("IZKDocument::GetView()"),
    QStringLiteral("IZKView::RefreshView(true)")};

void sendWheel(QWidget* pWidget, int nDelta)
{
    const QPointF pos(pWidget->width() / 2.0, pWidget->height() / 2.0);
    QWheelEvent wheel(pos, QPointF(pWidget->mapToGlobal(pos.toPoint())), QPoint(), QPoint(0, nDelta), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(pWidget, &wheel);
}

QPushButton* button(QDialog* pDialog, const QString& strText)
{
    for (QPushButton* pButton : pDialog->findChildren<QPushButton*>()) {
        if (pButton->text() == strText)
            return pButton;
    }
    return nullptr;
}

// One drag of a slider: press, move to nValue, release (which applies).
void drag(QSlider* pSlider, int nValue)
{
    pSlider->setSliderDown(true);
    pSlider->setValue(nValue);
    pSlider->setSliderDown(false);
}

QStringList ownMethods(const QMetaObject& meta)
{
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QStringList params;
        for (int p = 0; p < method.parameterCount(); ++p)
            params << QString::fromLatin1(method.parameterTypes().at(p) + ' ' + method.parameterNames().at(p));
        const char* kind = method.methodType() == QMetaMethod::Signal ? "signal" : "slot";
        methods << QStringLiteral("%1 %2(%3)")
                       .arg(QLatin1String(kind), QString::fromLatin1(method.name()), params.join(QLatin1String(", ")));
    }
    return methods;
}

} // namespace

// Runs a function when a signal connected to hit() arrives: lets a test see
// the state of things at the moment a dialog emits.
class Probe : public QObject
{
    Q_OBJECT
public:
    explicit Probe(std::function<void()> fn) : m_fn(std::move(fn)) {}
public slots:
    void hit() { m_fn(); }

private:
    std::function<void()> m_fn;
};

Q_DECLARE_METATYPE(Kind)

class TestSimpleDialogs : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    QList<QPointer<QDialog>> m_dialogs;

    QDialog* open(Kind kind)
    {
        QDialog* pDialog = createDialog(kind);
        m_dialogs << pDialog;
        pDialog->show();
        return pDialog;
    }

    static void addKindRows()
    {
        QTest::addColumn<Kind>("kind");
        QTest::newRow("brightness") << Bri;
        QTest::newRow("gray") << Gay;
        QTest::newRow("de-interference") << GoInterfere;
        QTest::newRow("saturation") << Sat;
    }

private slots:
    void initTestCase()
    {
        m_pDir.reset(new QTemporaryDir());
        HostSim::reset(m_pDir->path());
        QCOMPARE(HXL_CameraUI_ReadParam(), 0);
    }

    void init()
    {
        m_pDir.reset(new QTemporaryDir());
        QVERIFY(m_pDir->isValid());
        HostSim::reset(m_pDir->path());
    }

    void cleanup()
    {
        for (const QPointer<QDialog>& pDialog : qAsConst(m_dialogs))
            delete pDialog.data();
        m_dialogs.clear();
        HXLParamDialogCommon::setTimeOfDayClock({});
    }

    // --- interface -------------------------------------------------------------------

    void metaObjectInterface_data()
    {
        QTest::addColumn<QString>("className");
        QTest::addColumn<QStringList>("methods");
        const QStringList signalList = {QStringLiteral("signal sigAppcation()"),
                                        QStringLiteral("signal sigGrayParamChanged()"),
                                        QStringLiteral("signal sigClose()")};
        QTest::newRow("brightness") << QStringLiteral("HXLBriSettingDialog")
                                    << signalList + QStringList{QStringLiteral("slot slotBriSliderValueChanged(int value)"),
                                                                QStringLiteral("slot slotBriWSliderValueChanged(int value)"),
                                                                QStringLiteral("slot slotBriModeChange(int value)"),
                                                                QStringLiteral("slot slotApplication()")};
        QTest::newRow("gray") << QStringLiteral("HXLGaySettingDialog")
                              << signalList + QStringList{QStringLiteral("slot slotGrayPro(int value)"),
                                                          QStringLiteral("slot slotGaySliderValueChanged(int value)"),
                                                          QStringLiteral("slot slotGayWSliderValueChanged(int value)"),
                                                          QStringLiteral("slot slotApplication()")};
        QTest::newRow("de-interference")
            << QStringLiteral("HXLGoInterfereSettingDialog")
            << signalList + QStringList{QStringLiteral("slot slotGoInterfereSliderValueChanged(int value)"),
                                        QStringLiteral("slot slotApplication()"),
                                        QStringLiteral("slot slotGoInterfere(int value)")};
        QTest::newRow("saturation") << QStringLiteral("HXLSatSettingDialog")
                                    << signalList + QStringList{QStringLiteral("slot slotSatSliderValueChanged(int value)"),
                                                                QStringLiteral("slot slotSatModeChange(int value)"),
                                                                QStringLiteral("slot slotApplication()")};
    }

    void metaObjectInterface()
    {
        QFETCH(QString, className);
        QFETCH(QStringList, methods);
        const QMetaObject* pMeta = nullptr;
        for (const QMetaObject* p : {&HXLBriSettingDialog::staticMetaObject, &HXLGaySettingDialog::staticMetaObject,
                                     &HXLGoInterfereSettingDialog::staticMetaObject,
                                     &HXLSatSettingDialog::staticMetaObject}) {
            if (className == QLatin1String(p->className()))
                pMeta = p;
        }
        QVERIFY(pMeta);
        QCOMPARE(pMeta->superClass(), &QDialog::staticMetaObject);
        QCOMPARE(ownMethods(*pMeta), methods);
    }

    // --- building ----------------------------------------------------------------------

    void buildShowsHostValues_data() { addKindRows(); }
    void buildShowsHostValues()
    {
        QFETCH(Kind, kind);
        const Variant v = variant(kind);
        manager().*v.value = 42;
        if (v.width)
            manager().*v.width = 123;
        makeEditable(kind);
        QDialog* pDialog = open(kind);

        QCOMPARE(pDialog->windowTitle(), HXL_Text(v.nTitleText));
        QVERIFY(!(pDialog->windowFlags() & Qt::WindowContextHelpButtonHint));
        auto* pMainLayout = qobject_cast<QVBoxLayout*>(pDialog->layout());
        QVERIFY(pMainLayout);
        QCOMPARE(pMainLayout->contentsMargins(), QMargins(5, 5, 5, 5));
        QCOMPARE(grid(pDialog)->contentsMargins(), QMargins(5, 5, 5, 5));
        QVERIFY(pDialog->findChild<QGroupBox*>()->title().isEmpty());

        // Value row.
        auto* pCaption = cell<QLabel>(pDialog, 1, 0);
        auto* pSlider = cell<QSlider>(pDialog, 1, 1);
        auto* pReadOut = cell<QLabel>(pDialog, 1, 2);
        auto* pDefault = cell<QPushButton>(pDialog, 1, 3);
        QVERIFY(pCaption && pSlider && pReadOut && pDefault);
        QCOMPARE(pCaption->text(), HXL_Text(v.nValueCaptionText));
        QCOMPARE(pCaption->alignment(), Qt::AlignLeft | Qt::AlignVCenter);
        QCOMPARE(pCaption->height(), 30);
        QVERIFY(pCaption->minimumWidth() >= 80);
        QCOMPARE(pSlider->orientation(), Qt::Horizontal);
        QCOMPARE(pSlider->minimum(), v.nValueMin);
        QCOMPARE(pSlider->maximum(), 100);
        QCOMPARE(pSlider->value(), 42);
        QCOMPARE(pSlider->height(), 25);
        QCOMPARE(pSlider->singleStep(), 1);
        QCOMPARE(pSlider->pageStep(), 1);
        QCOMPARE(pReadOut->text(), valueText(kind, 42));
        QCOMPARE(pReadOut->size(), QSize(24, 30));
        QCOMPARE(pDefault->size(), QSize(26, 26));
        QCOMPARE(pDefault->iconSize(), QSize(24, 24));
        QVERIFY(!pDefault->icon().isNull());
        QCOMPARE(pDefault->toolTip(), HXL_Text(26));
        QCOMPARE(pDefault->styleSheet(),
                 QStringLiteral("QPushButton {    border: none;}QPushButton:checked {    background-color: "
                                "#4CAF50;}QPushButton:hover:!checked {    background-color: #e0e0e0;}"));

        // Width row.
        if (v.width) {
            auto* pWidthCaption = cell<QLabel>(pDialog, 2, 0);
            auto* pWidthSlider = cell<QSlider>(pDialog, 2, 1);
            auto* pWidthReadOut = cell<QLabel>(pDialog, 2, 2);
            QVERIFY(pWidthCaption && pWidthSlider && pWidthReadOut && cell<QPushButton>(pDialog, 2, 3));
            QCOMPARE(pWidthCaption->text(),
                     v.nWidthCaptionText < 0 ? QStringLiteral("width") : HXL_Text(v.nWidthCaptionText));
            QCOMPARE(pWidthSlider->minimum(), 3);
            QCOMPARE(pWidthSlider->maximum(), 300);
            QCOMPARE(pWidthSlider->value(), 123);
            QCOMPARE(pWidthReadOut->text(), QStringLiteral("123"));
        } else {
            QVERIFY(!grid(pDialog)->itemAtPosition(2, 1));
        }

        // Row 0: mode combo or check box.
        if (kind == Bri || kind == Sat) {
            QCOMPARE(cell<QLabel>(pDialog, 0, 0)->text(), HXL_Text(kind == Bri ? 10 : 4));
            auto* pCombo = cell<QComboBox>(pDialog, 0, 1);
            QVERIFY(pCombo);
            QCOMPARE(pCombo->count(), 3);
            QCOMPARE(pCombo->itemText(0), HXL_Text(5));
            QCOMPARE(pCombo->itemText(1), HXL_Text(6));
            QCOMPARE(pCombo->itemText(2), HXL_Text(7));
            QCOMPARE(pCombo->currentIndex(), 2);
            QCOMPARE(pCombo->height(), 25);
            QVERIFY(pCombo->minimumWidth() >= 80);
            QVERIFY(qobject_cast<QStyledItemDelegate*>(pCombo->itemDelegate()));
        } else {
            auto* pCheck = cell<QCheckBox>(pDialog, 0, 0);
            QVERIFY(pCheck);
            QCOMPARE(pCheck->text(), HXL_Text(kind == Gay ? 25 : 22));
            if (kind == GoInterfere) {
                int nRow, nColumn, nRowSpan, nColumnSpan;
                grid(pDialog)->getItemPosition(grid(pDialog)->indexOf(pCheck), &nRow, &nColumn, &nRowSpan,
                                               &nColumnSpan);
                QCOMPARE(nColumnSpan, 2);
            }
        }

        // Bottom row.
        const QList<QPushButton*> buttons = pDialog->findChildren<QPushButton*>();
        QStringList bottom;
        for (QPushButton* pButton : buttons) {
            if (pButton->height() == 30)
                bottom << pButton->text();
        }
        QCOMPARE(bottom, QStringList({HXL_Text(40), HXL_Text(41)}));

        // Building applies nothing.
        QCOMPARE(applyCount(), 0);
        QCOMPARE(refreshCount(), 0);
        QVERIFY(notice(pDialog));
        QVERIFY(!notice(pDialog)->isVisible());
    }

    void buildWithSwitchSetAppliesNothing_data() { addKindRows(); }
    void buildWithSwitchSetAppliesNothing()
    {
        // The check boxes are connected before they get their state; the
        // gray slot finds its widgets missing, the de-interference request
        // is not connected yet.
        QFETCH(Kind, kind);
        makeEditable(kind);
        manager().bGoInterfere = true;
        QDialog* pDialog = open(kind);
        QTest::qWait(20);
        QCOMPARE(applyCount(), 0);
        QCOMPARE(refreshCount(), 0);
        QCOMPARE(manager().bGoInterfere, true);
        if (kind == Gay || kind == GoInterfere)
            QVERIFY(cell<QCheckBox>(pDialog, 0, 0)->isChecked());
    }

    void hostValueOutsideSliderRangeKeptByHost()
    {
        manager().nBriValue = 150;
        manager().nBriMode = 2;
        QDialog* pDialog = open(Bri);
        QCOMPARE(cell<QSlider>(pDialog, 1, 1)->value(), 100);
        QCOMPARE(cell<QLabel>(pDialog, 1, 2)->text(), QStringLiteral("150%"));
        QCOMPARE(manager().nBriValue, 150);
    }

    void valueReadOut_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("text");
        QTest::newRow("brightness") << Bri << QStringLiteral("7%");
        QTest::newRow("gray") << Gay << QStringLiteral("7%");
        QTest::newRow("de-interference") << GoInterfere << QStringLiteral("7");
        QTest::newRow("saturation") << Sat << QStringLiteral("7%");
    }
    void valueReadOut()
    {
        QFETCH(Kind, kind);
        QFETCH(QString, text);
        const Variant v = variant(kind);
        makeEditable(kind);
        manager().*v.value = 7;
        QDialog* pDialog = open(kind);
        QCOMPARE(cell<QLabel>(pDialog, 1, 2)->text(), text);
        // The same through the slider.
        cell<QSlider>(pDialog, 1, 1)->setValue(50);
        cell<QSlider>(pDialog, 1, 1)->setValue(7);
        QCOMPARE(cell<QLabel>(pDialog, 1, 2)->text(), text);
    }

    void widthReadOutIsBare_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::newRow("brightness") << Bri;
        QTest::newRow("gray") << Gay;
    }
    void widthReadOutIsBare()
    {
        QFETCH(Kind, kind);
        const Variant v = variant(kind);
        makeEditable(kind);
        manager().*v.width = 250;
        QDialog* pDialog = open(kind);
        QCOMPARE(cell<QLabel>(pDialog, 2, 2)->text(), QStringLiteral("250"));
        cell<QSlider>(pDialog, 2, 1)->setValue(249);
        QCOMPARE(cell<QLabel>(pDialog, 2, 2)->text(), QStringLiteral("249"));
        QCOMPARE(manager().*v.width, 249);
    }

    // --- enabling -------------------------------------------------------------------------

    void modeOneEnabledAtBuildOnlyModeTwoAfterChange_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::newRow("brightness") << Bri;
        QTest::newRow("saturation") << Sat;
    }
    void modeOneEnabledAtBuildOnlyModeTwoAfterChange()
    {
        QFETCH(Kind, kind);
        int32_t& mode = kind == Bri ? manager().nBriMode : manager().nSatMode;
        mode = 1;
        QDialog* pDialog = open(kind);
        auto* pSlider = cell<QSlider>(pDialog, 1, 1);
        auto* pCombo = cell<QComboBox>(pDialog, 0, 1);
        QCOMPARE(pCombo->currentIndex(), 1);
        const QList<QWidget*> valueWidgets = {cell<QWidget>(pDialog, 1, 0), pSlider, cell<QWidget>(pDialog, 1, 2),
                                              cell<QWidget>(pDialog, 1, 3)};
        for (QWidget* pWidget : valueWidgets)
            QVERIFY(pWidget->isEnabled());
        if (kind == Bri) {
            for (int c = 0; c < 4; ++c)
                QVERIFY(cell<QWidget>(pDialog, 2, c)->isEnabled());
        }

        pCombo->setCurrentIndex(2);
        QCOMPARE(mode, 2);
        QVERIFY(pSlider->isEnabled());
        QCOMPARE(applyCount(), 1);

        pCombo->setCurrentIndex(1);
        QCOMPARE(mode, 1);
        for (QWidget* pWidget : valueWidgets)
            QVERIFY(!pWidget->isEnabled());
        if (kind == Bri) {
            for (int c = 0; c < 4; ++c)
                QVERIFY(!cell<QWidget>(pDialog, 2, c)->isEnabled());
        }
        QCOMPARE(applyCount(), 2);
        QCOMPARE(refreshCount(), 2);
    }

    void modeZeroDisabledAtBuild()
    {
        manager().nSatMode = 0;
        QDialog* pDialog = open(Sat);
        QVERIFY(!cell<QSlider>(pDialog, 1, 1)->isEnabled());
        QVERIFY(!cell<QPushButton>(pDialog, 1, 3)->isEnabled());
    }

    void grayCheckBoxEnablesAndApplies()
    {
        manager().bGrayPro = false;
        QDialog* pDialog = open(Gay);
        auto* pCheck = cell<QCheckBox>(pDialog, 0, 0);
        QVERIFY(!pCheck->isChecked());
        for (int r = 1; r <= 2; ++r) {
            for (int c = 0; c < 4; ++c)
                QVERIFY(!cell<QWidget>(pDialog, r, c)->isEnabled());
        }
        QTest::mouseClick(pCheck, Qt::LeftButton);
        QVERIFY(pCheck->isChecked());
        QCOMPARE(manager().bGrayPro, true);
        for (int r = 1; r <= 2; ++r) {
            for (int c = 0; c < 4; ++c)
                QVERIFY(cell<QWidget>(pDialog, r, c)->isEnabled());
        }
        QCOMPARE(applyCount(), 1);
    }

    void deInterferenceAlwaysEnabledAndCheckBoxApplies()
    {
        manager().bGoInterfere = false;
        QDialog* pDialog = open(GoInterfere);
        for (int c = 0; c < 4; ++c)
            QVERIFY(cell<QWidget>(pDialog, 1, c)->isEnabled());
        QTest::mouseClick(cell<QCheckBox>(pDialog, 0, 0), Qt::LeftButton);
        QCOMPARE(manager().bGoInterfere, true);
        QCOMPARE(applyCount(), 1);
        for (int c = 0; c < 4; ++c)
            QVERIFY(cell<QWidget>(pDialog, 1, c)->isEnabled());
    }

    // --- wheel and keys ----------------------------------------------------------------

    void wheelOverSlidersIsSwallowed_data() { addKindRows(); }
    void wheelOverSlidersIsSwallowed()
    {
        QFETCH(Kind, kind);
        const Variant v = variant(kind);
        makeEditable(kind);
        manager().*v.value = 50;
        if (v.width)
            manager().*v.width = 150;
        QDialog* pDialog = open(kind);

        // The same turn moves a slider that has no filter.
        QSlider control(Qt::Horizontal);
        control.setRange(1, 300);
        control.setSingleStep(1);
        control.setPageStep(1);
        control.setValue(50);
        control.show();
        sendWheel(&control, -120);
        QCOMPARE(control.value(), 49);

        const QList<QSlider*> sliders = pDialog->findChildren<QSlider*>();
        QCOMPARE(sliders.size(), v.width ? 2 : 1);
        for (QSlider* pSlider : sliders) {
            const int nBefore = pSlider->value();
            sendWheel(pSlider, -120);
            QCOMPARE(pSlider->value(), nBefore);
        }
        QCOMPARE(manager().*v.value, 50);
        if (v.width)
            QCOMPARE(manager().*v.width, 150);
        QCOMPARE(applyCount(), 0);
    }

    void wheelStillTurnsTheModeCombo()
    {
        manager().nBriMode = 1;
        QDialog* pDialog = open(Bri);
        auto* pCombo = cell<QComboBox>(pDialog, 0, 1);
        sendWheel(pCombo, -120);
        QVERIFY(pCombo->currentIndex() != 1);
        QCOMPARE(manager().nBriMode, pCombo->currentIndex());
        QCOMPARE(applyCount(), 1);
    }

    void arrowKeysWriteButDoNotApply_data() { addKindRows(); }
    void arrowKeysWriteButDoNotApply()
    {
        QFETCH(Kind, kind);
        const Variant v = variant(kind);
        makeEditable(kind);
        manager().*v.value = 40;
        QDialog* pDialog = open(kind);
        auto* pSlider = cell<QSlider>(pDialog, 1, 1);
        QTest::keyClick(pSlider, Qt::Key_Right);
        QTest::keyClick(pSlider, Qt::Key_Right);
        QCOMPARE(pSlider->value(), 42);
        QCOMPARE(manager().*v.value, 42);
        QCOMPARE(cell<QLabel>(pDialog, 1, 2)->text(), valueText(kind, 42));
        QTest::qWait(20);
        QCOMPARE(applyCount(), 0);
        QVERIFY(!notice(pDialog)->isVisible());
        // Some other trigger (here the slider's release) applies.
        pSlider->setSliderDown(true);
        pSlider->setSliderDown(false);
        QCOMPARE(applyCount(), 1);
    }

    // --- default buttons -----------------------------------------------------------------

    void defaultButtonRestoresHostDefault_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("row");
        QTest::newRow("brightness value") << Bri << 1;
        QTest::newRow("brightness width") << Bri << 2;
        QTest::newRow("gray value") << Gay << 1;
        QTest::newRow("gray width") << Gay << 2;
        QTest::newRow("de-interference value") << GoInterfere << 1;
        QTest::newRow("saturation value") << Sat << 1;
    }
    void defaultButtonRestoresHostDefault()
    {
        QFETCH(Kind, kind);
        QFETCH(int, row);
        const Variant v = variant(kind);
        const Field field = row == 1 ? v.value : v.width;
        const Field def = row == 1 ? v.valueDef : v.widthDef;
        makeEditable(kind);
        manager().*field = 80;
        manager().*def = 33;
        QDialog* pDialog = open(kind);
        QCOMPARE(cell<QSlider>(pDialog, row, 1)->value(), 80);

        QTest::mouseClick(cell<QPushButton>(pDialog, row, 3), Qt::LeftButton);
        QCOMPARE(cell<QSlider>(pDialog, row, 1)->value(), 33);
        QCOMPARE(manager().*field, 33);
        const QString expected = row == 1 ? valueText(kind, 33) : QStringLiteral("33");
        QCOMPARE(cell<QLabel>(pDialog, row, 2)->text(), expected);
        QCOMPARE(applyCount(), 1);
        QCOMPARE(refreshCount(), 1);
    }

    // --- OK, Cancel, reject -------------------------------------------------------------

    void cancelRestoresBuildTimeValuesAndAppliesOnce_data() { addKindRows(); }
    void cancelRestoresBuildTimeValuesAndAppliesOnce()
    {
        QFETCH(Kind, kind);
        const Variant v = variant(kind);
        makeEditable(kind);
        manager().*v.value = 60;
        if (v.width)
            manager().*v.width = 160;
        manager().bGoInterfere = true;
        QDialog* pDialog = open(kind);
        pDialog->setAttribute(Qt::WA_DeleteOnClose);

        // Several drags, each applying on release, and a changed switch.
        drag(cell<QSlider>(pDialog, 1, 1), 20);
        if (v.width)
            drag(cell<QSlider>(pDialog, 2, 1), 200);
        drag(cell<QSlider>(pDialog, 1, 1), 25);
        switch (kind) {
        case Bri:
        case Sat:
            cell<QComboBox>(pDialog, 0, 1)->setCurrentIndex(1);
            break;
        case Gay:
        case GoInterfere:
            QTest::mouseClick(cell<QCheckBox>(pDialog, 0, 0), Qt::LeftButton);
            break;
        }
        QCOMPARE(manager().*v.value, 25);
        const int nApplied = applyCount();
        QCOMPARE(nApplied, v.width ? 4 : 3);

        // What the host holds when the Cancel apply announces the change, and
        // how many applies have run when the close is reported.
        int nValueAtApply = -1;
        int nAppliesAtClose = -1;
        bool bVisibleAtClose = false;
        Probe applyProbe([&] { nValueAtApply = manager().*v.value; });
        Probe closeProbe([&] {
            nAppliesAtClose = applyCount();
            bVisibleAtClose = pDialog->isVisible();
        });
        connect(pDialog, SIGNAL(sigGrayParamChanged()), &applyProbe, SLOT(hit()));
        connect(pDialog, SIGNAL(sigClose()), &closeProbe, SLOT(hit()));
        QSignalSpy closeSpy(pDialog, SIGNAL(sigClose()));
        QPointer<QDialog> guard(pDialog);

        QTest::mouseClick(button(pDialog, HXL_Text(41)), Qt::LeftButton);

        QCOMPARE(closeSpy.count(), 1);
        QCOMPARE(nValueAtApply, 60);
        QCOMPARE(nAppliesAtClose, nApplied + 1);
        QVERIFY(bVisibleAtClose); // the apply ran before the dialog went away
        QCOMPARE(applyCount(), nApplied + 1);
        QCOMPARE(manager().*v.value, 60);
        if (v.width)
            QCOMPARE(manager().*v.width, 160);
        switch (kind) {
        case Bri:
            QCOMPARE(manager().nBriMode, 2);
            break;
        case Gay:
            QCOMPARE(manager().bGrayPro, true);
            break;
        case GoInterfere:
            QCOMPARE(manager().bGoInterfere, true);
            break;
        case Sat:
            QCOMPARE(manager().nSatMode, 2);
            break;
        }
        QTRY_VERIFY(guard.isNull()); // deleted on close
    }

    void okKeepsValuesAndAppliesNothing_data() { addKindRows(); }
    void okKeepsValuesAndAppliesNothing()
    {
        QFETCH(Kind, kind);
        const Variant v = variant(kind);
        makeEditable(kind);
        manager().*v.value = 60;
        QDialog* pDialog = open(kind);
        QSignalSpy closeSpy(pDialog, SIGNAL(sigClose()));
        QSignalSpy acceptSpy(pDialog, &QDialog::accepted);
        cell<QSlider>(pDialog, 1, 1)->setValue(30);
        QTest::mouseClick(button(pDialog, HXL_Text(40)), Qt::LeftButton);
        QCOMPARE(closeSpy.count(), 1);
        QCOMPARE(acceptSpy.count(), 1);
        QVERIFY(!pDialog->isVisible());
        QCOMPARE(manager().*v.value, 30);
        QCOMPARE(applyCount(), 0);
        QCOMPARE(refreshCount(), 0);
    }

    void rejectRestoresItsOwnSet_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<bool>("closeButton");
        QTest::newRow("brightness, Esc") << Bri << false;
        QTest::newRow("brightness, close button") << Bri << true;
        QTest::newRow("gray, Esc") << Gay << false;
        QTest::newRow("gray, close button") << Gay << true;
        QTest::newRow("de-interference, Esc") << GoInterfere << false;
        QTest::newRow("de-interference, close button") << GoInterfere << true;
        QTest::newRow("saturation, Esc") << Sat << false;
        QTest::newRow("saturation, close button") << Sat << true;
    }
    void rejectRestoresItsOwnSet()
    {
        QFETCH(Kind, kind);
        QFETCH(bool, closeButton);
        const Variant v = variant(kind);
        makeEditable(kind);
        manager().*v.value = 60;
        if (v.width)
            manager().*v.width = 160;
        manager().bGoInterfere = true;
        QDialog* pDialog = open(kind);
        QSignalSpy closeSpy(pDialog, SIGNAL(sigClose()));
        QSignalSpy rejectSpy(pDialog, &QDialog::rejected);

        // Edits straight into the host, as the sliders and the switch make them.
        manager().*v.value = 10;
        if (v.width)
            manager().*v.width = 10;
        manager().nBriMode = 0;
        manager().nSatMode = 0;
        manager().bGrayPro = false;
        manager().bGoInterfere = false;

        if (closeButton)
            pDialog->close();
        else
            QTest::keyClick(pDialog, Qt::Key_Escape);

        QCOMPARE(closeSpy.count(), 1);
        QCOMPARE(rejectSpy.count(), 1);
        QVERIFY(!pDialog->isVisible());
        QCOMPARE(applyCount(), 1);
        QCOMPARE(manager().*v.value, 60);
        if (v.width)
            QCOMPARE(manager().*v.width, 160);
        switch (kind) {
        case Bri:
            QCOMPARE(manager().nBriMode, 2);
            break;
        case Gay:
            QCOMPARE(manager().bGrayPro, true);
            break;
        case GoInterfere:
            // Esc and the close button leave a changed switch as it is.
            QCOMPARE(manager().bGoInterfere, false);
            break;
        case Sat:
            QCOMPARE(manager().nSatMode, 2);
            break;
        }
    }

    void deInterferenceCloseKeepsUntickedSwitchCancelRestoresIt()
    {
        manager().bGoInterfere = true;
        QDialog* pClosed = open(GoInterfere);
        QTest::mouseClick(cell<QCheckBox>(pClosed, 0, 0), Qt::LeftButton);
        QCOMPARE(manager().bGoInterfere, false);
        pClosed->close(); // the window's close button
        QVERIFY(!pClosed->isVisible());
        QCOMPARE(manager().bGoInterfere, false);

        manager().bGoInterfere = true;
        QDialog* pCancelled = open(GoInterfere);
        QTest::mouseClick(cell<QCheckBox>(pCancelled, 0, 0), Qt::LeftButton);
        QCOMPARE(manager().bGoInterfere, false);
        QTest::mouseClick(button(pCancelled, HXL_Text(41)), Qt::LeftButton);
        QVERIFY(!pCancelled->isVisible());
        QCOMPARE(manager().bGoInterfere, true);
    }

    // --- apply ------------------------------------------------------------------------------

    void applySequenceOnTheJournal_data() { addKindRows(); }
    void applySequenceOnTheJournal()
    {
        QFETCH(Kind, kind);
        QDialog* pDialog = open(kind);
        auto* pMainWindow = qobject_cast<hostsim::SimMainWindow*>(ZKWindowManager::singleton().getMainWindow());
        QVERIFY(pMainWindow);
        const int nMainWindowCount = pMainWindow->imageParamChangedCount();
        HostSim::journal().clear();

        bool bNoticeShownAtAnnounce = false;
        Probe probe([&] { bNoticeShownAtAnnounce = notice(pDialog)->isVisible(); });
        connect(pDialog, SIGNAL(sigGrayParamChanged()), &probe, SLOT(hit()));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotApplication"));
        QVERIFY(timer.elapsed() >= 290);
        QVERIFY(bNoticeShownAtAnnounce);
        QVERIFY(!notice(pDialog)->isVisible());
        QCOMPARE(hostCalls(), kApplyCalls);
        QCOMPARE(pMainWindow->imageParamChangedCount(), nMainWindowCount + 1);
    }

    void appcationSignalApplies_data() { addKindRows(); }
    void appcationSignalApplies()
    {
        QFETCH(Kind, kind);
        QDialog* pDialog = open(kind);
        QVERIFY(QMetaObject::invokeMethod(pDialog, "sigAppcation"));
        QCOMPARE(applyCount(), 1);
        QCOMPARE(refreshCount(), 1);
    }

    void waitProcessesEvents()
    {
        bool bFired = false;
        QTimer::singleShot(20, [&] { bFired = true; });
        QElapsedTimer timer;
        timer.start();
        HXLParamDialogCommon::waitTimeOfDay(300);
        QVERIFY(bFired);
        QVERIFY(timer.elapsed() >= 290);
    }

    void waitEndsAtOnceWhenTheDeadlineWrapsPastMidnight_data()
    {
        QTest::addColumn<QTime>("start");
        QTest::addColumn<bool>("wraps");
        QTest::newRow("midday") << QTime(12, 0, 0) << false;
        QTest::newRow("just before midnight") << QTime(23, 59, 59, 900) << true;
        QTest::newRow("last millisecond") << QTime(23, 59, 59, 999) << true;
    }
    void waitEndsAtOnceWhenTheDeadlineWrapsPastMidnight()
    {
        QFETCH(QTime, start);
        QFETCH(bool, wraps);
        QElapsedTimer clock;
        clock.start();
        HXLParamDialogCommon::setTimeOfDayClock([&] { return start.addMSecs(int(clock.elapsed())); });
        QCOMPARE(start.addMSecs(300) < start, wraps);

        QElapsedTimer timer;
        timer.start();
        HXLParamDialogCommon::waitTimeOfDay(300);
        if (wraps)
            QVERIFY2(timer.elapsed() < 100, qPrintable(QString::number(timer.elapsed())));
        else
            QVERIFY(timer.elapsed() >= 290);
    }

    void dialogApplyUsesTheSharedWait()
    {
        QElapsedTimer clock;
        clock.start();
        const QTime start(23, 59, 59, 950);
        HXLParamDialogCommon::setTimeOfDayClock([&] { return start.addMSecs(int(clock.elapsed())); });
        QDialog* pDialog = open(Bri);
        QElapsedTimer timer;
        timer.start();
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotApplication"));
        QVERIFY(timer.elapsed() < 100);
        QCOMPARE(applyCount(), 1);
    }

    void destructorDeletesTheNotice_data() { addKindRows(); }
    void destructorDeletesTheNotice()
    {
        QFETCH(Kind, kind);
        QDialog* pDialog = createDialog(kind);
        QPointer<HXL_ShowDealWithDialog> pNotice = notice(pDialog);
        QVERIFY(pNotice);
        QCOMPARE(pNotice->parentWidget(), pDialog);
        QVERIFY(pNotice->testAttribute(Qt::WA_DeleteOnClose));
        delete pDialog;
        QVERIFY(pNotice.isNull());
    }
};

QTEST_MAIN(TestSimpleDialogs)
#include "tst_simple_dialogs.moc"
