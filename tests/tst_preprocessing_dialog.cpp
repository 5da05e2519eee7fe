// The advanced preprocessing dialog: working and saved copies, the group
// timers, apply, restore on Cancel, Esc and close, and its captions.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"
#include "dialogs/HXL_AdvancedPreprocessingDialog.h"
#include "dialogs/HXLParamDialogCommon.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimApp.h"
#include "services/SimCameraManager.h"

#include "host/ZKWindowManager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QStyledItemDelegate>
#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

#include <memory>

using hostsim::HostSim;

// Runs a function when a signal connected to hit() arrives.
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

// Counts the timer events that reach an object, by timer id.
class TimerEventCounter : public QObject
{
    Q_OBJECT
public:
    QHash<int, int> counts;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Timer)
            ++counts[static_cast<QTimerEvent*>(event)->timerId()];
        return QObject::eventFilter(watched, event);
    }
};

// Translates one caption key of the dialog's context, to show that the
// captions go through tr().
class OneKeyTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* sourceText, const char* disambiguation = nullptr,
                      int n = -1) const override
    {
        Q_UNUSED(disambiguation);
        Q_UNUSED(n);
        if (qstrcmp(context, "HXL_AdvancedPreprocessingDialog") == 0 && qstrcmp(sourceText, "vague") == 0)
            return QStringLiteral("Blur");
        return QString();
    }
};

namespace {

IZKVisionCameraManager& manager()
{
    return HostSim::cameraManager();
}

int applyCount()
{
    return HostSim::journal().count(QStringLiteral("IMainWindow::slotImageParamChanged()"));
}

int refreshCount()
{
    return HostSim::journal().count(QStringLiteral("IZKView::RefreshView(true)"));
}

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

QGroupBox* group(QDialog* pDialog, const QString& strTitle)
{
    for (QGroupBox* pGroup : pDialog->findChildren<QGroupBox*>()) {
        if (pGroup->title() == strTitle)
            return pGroup;
    }
    return nullptr;
}

template <class T>
T* cell(QDialog* pDialog, const QString& strGroup, int nRow, int nColumn)
{
    QGroupBox* pGroup = group(pDialog, strGroup);
    auto* pGrid = pGroup ? qobject_cast<QGridLayout*>(pGroup->layout()) : nullptr;
    QLayoutItem* pItem = pGrid ? pGrid->itemAtPosition(nRow, nColumn) : nullptr;
    return pItem ? qobject_cast<T*>(pItem->widget()) : nullptr;
}

QString span(QDialog* pDialog, const QString& strGroup, QWidget* pWidget)
{
    auto* pGrid = qobject_cast<QGridLayout*>(group(pDialog, strGroup)->layout());
    int nRow, nColumn, nRowSpan, nColumnSpan;
    pGrid->getItemPosition(pGrid->indexOf(pWidget), &nRow, &nColumn, &nRowSpan, &nColumnSpan);
    return QStringLiteral("%1,%2 %3x%4").arg(nRow).arg(nColumn).arg(nRowSpan).arg(nColumnSpan);
}

QPushButton* button(QDialog* pDialog, const QString& strText)
{
    for (QPushButton* pButton : pDialog->findChildren<QPushButton*>()) {
        if (pButton->text() == strText)
            return pButton;
    }
    return nullptr;
}

QStringList items(QComboBox* pCombo)
{
    QStringList list;
    for (int i = 0; i < pCombo->count(); ++i)
        list << pCombo->itemText(i);
    return list;
}

// A click on the box itself (the widget is wider than its box and text).
void clickCheckBox(QCheckBox* pCheck)
{
    QTest::mouseClick(pCheck, Qt::LeftButton, Qt::NoModifier, QPoint(8, pCheck->height() / 2));
}

// Widgets of the working groups.
QComboBox* satCombo(QDialog* d) { return cell<QComboBox>(d, QStringLiteral("color"), 0, 1); }
QSlider* satSlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("color"), 1, 1); }
QLabel* satReadOut(QDialog* d) { return cell<QLabel>(d, QStringLiteral("color"), 1, 2); }
QComboBox* briCombo(QDialog* d) { return cell<QComboBox>(d, QStringLiteral("color"), 0, 5); }
QSlider* briSlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("color"), 1, 5); }
QSlider* briWidthSlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("color"), 2, 5); }
QComboBox* channelCombo(QDialog* d) { return cell<QComboBox>(d, QStringLiteral("Gray"), 0, 1); }
QComboBox* grayCombo(QDialog* d) { return cell<QComboBox>(d, QStringLiteral("Gray"), 0, 4); }
QSlider* graySlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("Gray"), 1, 4); }
QSlider* grayWidthSlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("Gray"), 2, 4); }
QComboBox* sharpeningCombo(QDialog* d) { return cell<QComboBox>(d, QStringLiteral("Image sharpening"), 1, 1); }
QSlider* vagueSlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("other"), 0, 1); }
QLabel* vagueReadOut(QDialog* d) { return cell<QLabel>(d, QStringLiteral("other"), 0, 2); }
QCheckBox* invertCheck(QDialog* d) { return cell<QCheckBox>(d, QStringLiteral("other"), 1, 0); }
QComboBox* filterCombo(QDialog* d) { return cell<QComboBox>(d, QStringLiteral("filter"), 0, 1); }
QSlider* minSlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("filter"), 1, 1); }
QLabel* minReadOut(QDialog* d) { return cell<QLabel>(d, QStringLiteral("filter"), 1, 2); }
QSlider* maxSlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("filter"), 2, 1); }
QLabel* maxReadOut(QDialog* d) { return cell<QLabel>(d, QStringLiteral("filter"), 2, 2); }
QComboBox* poleCombo(QDialog* d) { return cell<QComboBox>(d, QStringLiteral("filterPole"), 0, 1); }
QSlider* poleSlider(QDialog* d) { return cell<QSlider>(d, QStringLiteral("filterPole"), 1, 1); }

// A host record in which every field the dialog carries has its own value.
void setDistinctHostValues()
{
    IZKVisionCameraManager& m = manager();
    m.nSatMode = 2;
    m.nSatValue = 41;
    m.nBriMode = 2;
    m.nBriWidth = 142;
    m.nBriValue = 43;
    m.nGrayMode = 4;
    m.nGrayProMode = 2;
    m.nGrayWidth = 144;
    m.nGrayValue = 45;
    m.nMorphologyType = 3;
    m.nMorphologyW = 7;
    m.nMorphologyH = 77;
    m.bSharpening = 1;
    m.nSharpenKernel = 9;
    m.nFilterMode = 1;
    m.nFilterMin = 20;
    m.nFilterMax = 200;
    m.nFilterPoleMode = 2;
    m.nFilterPoleValue = 99;
    m.bIsInver = true;
    m.nGoInterfereValue = 46;
    m.nMode5 = 3;
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

class TestPreprocessingDialog : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    QList<QPointer<QDialog>> m_dialogs;

    HXL_AdvancedPreprocessingDialog* open()
    {
        auto* pDialog = new HXL_AdvancedPreprocessingDialog(nullptr);
        pDialog->InitUI();
        m_dialogs << pDialog;
        pDialog->show();
        return pDialog;
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

    void metaObjectInterface()
    {
        const QMetaObject& meta = HXL_AdvancedPreprocessingDialog::staticMetaObject;
        QCOMPARE(meta.superClass(), &QDialog::staticMetaObject);
        const QStringList expected = {
            QStringLiteral("signal sigGrayParamChanged()"),
            QStringLiteral("signal sigAppication()"),
            QStringLiteral("signal sigClose()"),
            QStringLiteral("slot slotSatChange(int value)"),
            QStringLiteral("slot slotSatSliderValueChanged(int value)"),
            QStringLiteral("slot slotBriChange(int value)"),
            QStringLiteral("slot slotBriSliderValueChanged(int value)"),
            QStringLiteral("slot slotBriSliderValueWidthChanged(int value)"),
            QStringLiteral("slot slotChannelMode(int value)"),
            QStringLiteral("slot slotGrayMode(int value)"),
            QStringLiteral("slot slotGraySliderValueChanged(int value)"),
            QStringLiteral("slot slotGraySliderValueWidthChanged(int value)"),
            QStringLiteral("slot slotMorphologyTypeCboChanged(int value)"),
            QStringLiteral("slot slotMorphologySliderWValueChanged(int value)"),
            QStringLiteral("slot slotMorphologySliderHValueChanged(int value)"),
            QStringLiteral("slot slotApplication()"),
            QStringLiteral("slot slotvagueSliderValueChanged(int value)"),
            QStringLiteral("slot slotOK()"),
            QStringLiteral("slot slotCancle()"),
            QStringLiteral("slot slotInverChange(int value)"),
            QStringLiteral("slot slotSharpeningEnableChange(int value)"),
            QStringLiteral("slot slotfilerModeChange(int mode)"),
            QStringLiteral("slot slotMinValueChange(int value)"),
            QStringLiteral("slot slotMaxValueChange(int value)"),
            QStringLiteral("slot slotfilerPoleModeChange(int mode)"),
            QStringLiteral("slot slotPoleValueChange(int value)"),
            QStringLiteral("slot slotSharpening(int value)"),
        };
        QCOMPARE(ownMethods(meta), expected);
    }

    void constructorDoesNotBuild()
    {
        HXL_AdvancedPreprocessingDialog dialog(nullptr);
        QVERIFY(!(dialog.windowFlags() & Qt::WindowContextHelpButtonHint));
        QCOMPARE(dialog.styleSheet(), QStringLiteral("QTabBar::tab{height:30px;}                   "
                                                     "QPushButton{height:20px;}                   "
                                                     "QSpinBox{height:24px;}                   "
                                                     "QComboBox{height:22px;}                   "
                                                     "QLineEdit{height:22px;}"));
        QVERIFY(dialog.findChildren<QWidget*>().isEmpty());
        QVERIFY(!dialog.layout());
    }

    void buildLoadsAndFillsFromTheHost()
    {
        setDistinctHostValues();
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QCOMPARE(pDialog->size(), QSize(600, 600));

        QCOMPARE(satCombo(pDialog)->currentIndex(), 2);
        QCOMPARE(satSlider(pDialog)->value(), 41);
        QCOMPARE(satReadOut(pDialog)->text(), QStringLiteral("41%"));
        QCOMPARE(briCombo(pDialog)->currentIndex(), 2);
        QCOMPARE(briSlider(pDialog)->value(), 43);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("color"), 1, 6)->text(), QStringLiteral("43%"));
        QCOMPARE(briWidthSlider(pDialog)->value(), 142);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("color"), 2, 6)->text(), QStringLiteral("142"));
        QCOMPARE(channelCombo(pDialog)->currentIndex(), 4);
        QCOMPARE(grayCombo(pDialog)->currentIndex(), 2);
        QCOMPARE(graySlider(pDialog)->value(), 45);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("Gray"), 1, 5)->text(), QStringLiteral("45%"));
        QCOMPARE(grayWidthSlider(pDialog)->value(), 144);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("Gray"), 2, 5)->text(), QStringLiteral("144"));
        QCOMPARE(sharpeningCombo(pDialog)->currentIndex(), 4); // kernel 9
        QCOMPARE(vagueSlider(pDialog)->value(), 46);
        QCOMPARE(vagueReadOut(pDialog)->text(), QStringLiteral("46%"));
        QVERIFY(invertCheck(pDialog)->isChecked());
        QCOMPARE(filterCombo(pDialog)->currentIndex(), 1);
        QCOMPARE(minSlider(pDialog)->value(), 20);
        QCOMPARE(minReadOut(pDialog)->text(), QStringLiteral("20"));
        QCOMPARE(maxSlider(pDialog)->value(), 200);
        QCOMPARE(maxReadOut(pDialog)->text(), QStringLiteral("200"));
        QCOMPARE(poleCombo(pDialog)->currentIndex(), 2);
        QCOMPARE(poleSlider(pDialog)->value(), 99);

        // Mode 2 everywhere: every value widget editable.
        for (QWidget* pWidget : {static_cast<QWidget*>(satSlider(pDialog)), static_cast<QWidget*>(satReadOut(pDialog)),
                                 static_cast<QWidget*>(briSlider(pDialog)),
                                 static_cast<QWidget*>(briWidthSlider(pDialog)),
                                 static_cast<QWidget*>(graySlider(pDialog)),
                                 static_cast<QWidget*>(grayWidthSlider(pDialog))})
            QVERIFY(pWidget->isEnabled());

        // Building runs no slot and applies nothing.
        QTest::qWait(400);
        QCOMPARE(applyCount(), 0);
        QCOMPARE(manager().nMode5, 3);
        auto* pNotice = pDialog->findChild<HXL_ShowDealWithDialog*>();
        QVERIFY(pNotice);
        QVERIFY(pNotice->testAttribute(Qt::WA_DeleteOnClose));
        QVERIFY(!pNotice->isVisible());
    }

    void valueWidgetsOnlyInModeTwo_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("0") << 0;
        QTest::newRow("1") << 1;
        QTest::newRow("2") << 2;
    }
    void valueWidgetsOnlyInModeTwo()
    {
        QFETCH(int, mode);
        manager().nSatMode = mode;
        manager().nBriMode = mode;
        manager().nGrayProMode = mode;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        const bool bEnabled = mode == 2;
        QCOMPARE(satSlider(pDialog)->isEnabled(), bEnabled);
        QCOMPARE(satReadOut(pDialog)->isEnabled(), bEnabled);
        QCOMPARE(briSlider(pDialog)->isEnabled(), bEnabled);
        QCOMPARE(briWidthSlider(pDialog)->isEnabled(), bEnabled);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("color"), 1, 6)->isEnabled(), bEnabled);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("color"), 2, 6)->isEnabled(), bEnabled);
        QCOMPARE(graySlider(pDialog)->isEnabled(), bEnabled);
        QCOMPARE(grayWidthSlider(pDialog)->isEnabled(), bEnabled);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("Gray"), 1, 5)->isEnabled(), bEnabled);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("Gray"), 2, 5)->isEnabled(), bEnabled);

        // Changing the mode follows the same rule.
        const int nOther = mode == 2 ? 0 : 2;
        satCombo(pDialog)->setCurrentIndex(nOther);
        briCombo(pDialog)->setCurrentIndex(nOther);
        grayCombo(pDialog)->setCurrentIndex(nOther);
        QCOMPARE(satSlider(pDialog)->isEnabled(), nOther == 2);
        QCOMPARE(briWidthSlider(pDialog)->isEnabled(), nOther == 2);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("Gray"), 2, 5)->isEnabled(), nOther == 2);
    }

    void groupsAndCells()
    {
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QStringList titles;
        for (QGroupBox* pGroup : pDialog->findChildren<QGroupBox*>()) {
            if (!pGroup->title().isEmpty()) // the processing notice has an untitled one
                titles << pGroup->title();
        }
        titles.sort();
        QCOMPARE(titles, QStringList({QStringLiteral("Gray"), QStringLiteral("Image sharpening"),
                                      QStringLiteral("color"), QStringLiteral("filter"), QStringLiteral("filterPole"),
                                      QStringLiteral("other")}));

        const QString sharpen = QStringLiteral("Image sharpening");
        QCOMPARE(group(pDialog, sharpen)->width(), 295);
        QCOMPARE(cell<QLabel>(pDialog, sharpen, 1, 0)->text(), QStringLiteral("Handling unit"));
        QCOMPARE(cell<QLabel>(pDialog, sharpen, 1, 0)->width(), 116);
        QCOMPARE(sharpeningCombo(pDialog)->width(), 140);
        QCOMPARE(items(sharpeningCombo(pDialog)),
                 QStringList({QStringLiteral("NoProcess"), QStringLiteral("Level 1"), QStringLiteral("Level 2"),
                              QStringLiteral("Level 3"), QStringLiteral("Level 4"), QStringLiteral("Level 5")}));
        QVERIFY(qobject_cast<QStyledItemDelegate*>(sharpeningCombo(pDialog)->itemDelegate()));

        const QString color = QStringLiteral("color");
        QCOMPARE(group(pDialog, color)->maximumHeight(), 130);
        QCOMPARE(cell<QLabel>(pDialog, color, 0, 0)->text(), QStringLiteral("Saturation"));
        QCOMPARE(cell<QLabel>(pDialog, color, 0, 0)->alignment(), Qt::AlignRight | Qt::AlignVCenter);
        QCOMPARE(span(pDialog, color, satCombo(pDialog)), QStringLiteral("0,1 1x2"));
        QCOMPARE(satCombo(pDialog)->width(), 140);
        const QStringList modes = {QStringLiteral("NoProcess"), QStringLiteral("Illuminate"),
                                   QStringLiteral("Emphasize")};
        QCOMPARE(items(satCombo(pDialog)), modes);
        QCOMPARE(cell<QLabel>(pDialog, color, 1, 0)->text(), QStringLiteral("grade"));
        QCOMPARE(satSlider(pDialog)->minimum(), 1);
        QCOMPARE(satSlider(pDialog)->maximum(), 100);
        QCOMPARE(satSlider(pDialog)->width(), 116);
        QCOMPARE(satSlider(pDialog)->orientation(), Qt::Horizontal);
        QCOMPARE(satReadOut(pDialog)->width(), 24);
        auto* pLine = cell<QFrame>(pDialog, color, 0, 3);
        QVERIFY(pLine);
        QCOMPARE(pLine->frameShape(), QFrame::VLine);
        QCOMPARE(pLine->frameShadow(), QFrame::Raised);
        QCOMPARE(span(pDialog, color, pLine), QStringLiteral("0,3 3x1"));
        QCOMPARE(cell<QLabel>(pDialog, color, 0, 4)->text(), QStringLiteral("Brightness processing"));
        QCOMPARE(span(pDialog, color, briCombo(pDialog)), QStringLiteral("0,5 1x2"));
        QCOMPARE(items(briCombo(pDialog)), modes);
        QCOMPARE(briCombo(pDialog)->minimumWidth(), 80);
        QCOMPARE(cell<QLabel>(pDialog, color, 1, 4)->text(), QStringLiteral("grade"));
        QCOMPARE(briSlider(pDialog)->minimum(), 3);
        QCOMPARE(briSlider(pDialog)->maximum(), 100);
        QCOMPARE(cell<QLabel>(pDialog, color, 2, 4)->text(), QStringLiteral("width"));
        QCOMPARE(briWidthSlider(pDialog)->minimum(), 3);
        QCOMPARE(briWidthSlider(pDialog)->maximum(), 300);

        const QString gray = QStringLiteral("Gray");
        QCOMPARE(group(pDialog, gray)->maximumHeight(), 130);
        QCOMPARE(cell<QLabel>(pDialog, gray, 0, 0)->text(), QStringLiteral("ChannelSelection"));
        QCOMPARE(cell<QLabel>(pDialog, gray, 0, 0)->height(), 30);
        QCOMPARE(items(channelCombo(pDialog)),
                 QStringList({QStringLiteral("NoProcess"), QStringLiteral("MinChannel"),
                              QStringLiteral("AverageValue"), QStringLiteral("RedChannel"),
                              QStringLiteral("GreenChannel"), QStringLiteral("BlueChannel"),
                              QStringLiteral("SatChannel"), QStringLiteral("HueChannel")}));
        QCOMPARE(channelCombo(pDialog)->width(), 140);
        QCOMPARE(span(pDialog, gray, cell<QFrame>(pDialog, gray, 0, 2)), QStringLiteral("0,2 3x1"));
        QCOMPARE(cell<QLabel>(pDialog, gray, 0, 3)->text(), QStringLiteral("Grayscale1"));
        QCOMPARE(span(pDialog, gray, grayCombo(pDialog)), QStringLiteral("0,4 1x2"));
        QCOMPARE(items(grayCombo(pDialog)), modes);
        QCOMPARE(grayCombo(pDialog)->width(), 140);
        QCOMPARE(cell<QLabel>(pDialog, gray, 1, 3)->text(), QStringLiteral("grade"));
        QCOMPARE(graySlider(pDialog)->minimum(), 3);
        QCOMPARE(graySlider(pDialog)->maximum(), 100);
        QCOMPARE(cell<QLabel>(pDialog, gray, 2, 3)->text(), QStringLiteral("width"));
        QCOMPARE(grayWidthSlider(pDialog)->maximum(), 300);

        const QString filter = QStringLiteral("filter");
        QCOMPARE(cell<QLabel>(pDialog, filter, 0, 0)->text(), QStringLiteral("filterMode"));
        QCOMPARE(items(filterCombo(pDialog)),
                 QStringList({QStringLiteral("NoProcess"), QStringLiteral("black"), QStringLiteral("white")}));
        QCOMPARE(cell<QLabel>(pDialog, filter, 1, 0)->text(), QStringLiteral("minValue"));
        QCOMPARE(cell<QLabel>(pDialog, filter, 2, 0)->text(), QStringLiteral("maxValue"));
        QCOMPARE(minSlider(pDialog)->maximum(), 255);
        QCOMPARE(maxSlider(pDialog)->minimum(), 0);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("filterPole"), 0, 0)->text(), QStringLiteral("filterMode"));
        QCOMPARE(items(poleCombo(pDialog)), items(filterCombo(pDialog)));
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("filterPole"), 1, 0)->text(), QStringLiteral("poleValue"));
        QCOMPARE(poleSlider(pDialog)->maximum(), 255);

        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("other"), 0, 0)->text(), QStringLiteral("vague"));
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("other"), 0, 0)->width(), 120);
        QCOMPARE(vagueSlider(pDialog)->width(), 120);
        QCOMPARE(vagueSlider(pDialog)->minimum(), 0);
        QCOMPARE(vagueSlider(pDialog)->maximum(), 100);
        QCOMPARE(invertCheck(pDialog)->text(), QStringLiteral("InvertImage"));

        QVERIFY(button(pDialog, QStringLiteral("Ok")));
        QVERIFY(button(pDialog, QStringLiteral("cancel")));
        QCOMPARE(button(pDialog, QStringLiteral("Ok"))->height(), 30);
        QCOMPARE(button(pDialog, QStringLiteral("cancel"))->height(), 30);

        // The two columns.
        int nColumns = 0;
        for (QWidget* pChild : pDialog->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (pChild->minimumWidth() == 295 && pChild->maximumWidth() == 295 && !qobject_cast<QGroupBox*>(pChild))
                ++nColumns;
        }
        QCOMPARE(nColumns, 2);
    }

    // The sharpening group is as wide as its column (295): the dialog must
    // show its whole frame, the right border included, as the group draws it.
    void sharpeningGroupFrameIsWhole()
    {
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QVERIFY(QTest::qWaitForWindowExposed(pDialog));
        QGroupBox* pGroup = group(pDialog, QStringLiteral("Image sharpening"));
        QVERIFY(pGroup);
        QCOMPARE(pGroup->width(), 295);

        const QImage own = pGroup->grab().toImage().convertToFormat(QImage::Format_RGB32);
        const QImage shown = pDialog->grab().toImage().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(own.size(), pGroup->size());
        QCOMPARE(shown.size(), pDialog->size());
        const QRgb background = pGroup->palette().color(QPalette::Window).rgb();

        // The frame lines as the group draws them by itself: the outermost
        // pixels that are not background, on a row through the middle and a
        // column near the right (clear of the title, which sits top left).
        const int nMidY = own.height() / 2;
        const int nProbeX = own.width() - 20;
        auto firstDrawn = [&](int nFrom, int nStep, bool bAlongX) {
            for (int i = nFrom; i >= 0 && i < (bAlongX ? own.width() : own.height()); i += nStep) {
                const QRgb pixel = bAlongX ? own.pixel(i, nMidY) : own.pixel(nProbeX, i);
                if (pixel != background)
                    return i;
            }
            return -1;
        };
        const int nLeft = firstDrawn(0, 1, true);
        const int nRight = firstDrawn(own.width() - 1, -1, true);
        const int nTop = firstDrawn(0, 1, false);
        const int nBottom = firstDrawn(own.height() - 1, -1, false);
        QVERIFY2(nLeft >= 0 && nRight > nLeft + 200 && nTop >= 0 && nBottom > nTop, "the group draws no frame");

        // Every pixel of the four frame lines appears at its place in the dialog.
        const QPoint origin = pGroup->mapTo(pDialog, QPoint(0, 0));
        QStringList missing;
        auto check = [&](int x, int y) {
            const QPoint at = origin + QPoint(x, y);
            if (!shown.rect().contains(at) || shown.pixel(at) != own.pixel(x, y))
                missing << QStringLiteral("(%1,%2)").arg(x).arg(y);
        };
        for (int y = nTop; y <= nBottom; ++y) {
            check(nLeft, y);
            check(nRight, y);
        }
        for (int x = nLeft; x <= nRight; ++x) {
            check(x, nTop);
            check(x, nBottom);
        }
        QVERIFY2(missing.isEmpty(), qPrintable(QStringLiteral("frame of %1 x %2 at (%3,%4) not shown at %5 of its pixels, e.g. %6")
                                                   .arg(own.width())
                                                   .arg(own.height())
                                                   .arg(origin.x())
                                                   .arg(origin.y())
                                                   .arg(missing.size())
                                                   .arg(missing.mid(0, 4).join(QLatin1Char(' ')))));
    }

    void captionsGoThroughTr()
    {
        OneKeyTranslator translator;
        QCoreApplication::installTranslator(&translator);
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("other"), 0, 0)->text(), QStringLiteral("Blur"));
        QCOMPARE(cell<QLabel>(pDialog, QStringLiteral("color"), 0, 0)->text(), QStringLiteral("Saturation"));
    }

    // --- timers ---------------------------------------------------------------------------

    void twoQuickModeChangesApplyOnceAndOrphanATimer()
    {
        manager().nSatMode = 0;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        TimerEventCounter counter;
        pDialog->installEventFilter(&counter);

        satCombo(pDialog)->setCurrentIndex(1);
        QTest::qWait(100);
        QElapsedTimer sinceSecond;
        satCombo(pDialog)->setCurrentIndex(2);
        sinceSecond.start();

        // The apply shows its notice 300 ms after the second change, not the first.
        auto* pNotice = pDialog->findChild<HXL_ShowDealWithDialog*>();
        QTRY_VERIFY_WITH_TIMEOUT(pNotice->isVisible() || applyCount() > 0, 2000);
        QVERIFY2(sinceSecond.elapsed() >= 250, qPrintable(QString::number(sinceSecond.elapsed())));
        QTRY_COMPARE(applyCount(), 1);
        QCOMPARE(manager().nSatMode, 2);

        // The first timer goes on firing unheeded.
        counter.counts.clear();
        QTest::qWait(800);
        QCOMPARE(applyCount(), 1);
        QCOMPARE(counter.counts.size(), 1);
        QVERIFY(counter.counts.begin().value() >= 2);
    }

    void everyModeGroupAppliesByTimer_data()
    {
        QTest::addColumn<QString>("slot");
        QTest::addColumn<int>("value");
        QTest::newRow("saturation") << QStringLiteral("slotSatChange") << 1;
        QTest::newRow("brightness") << QStringLiteral("slotBriChange") << 1;
        QTest::newRow("channel") << QStringLiteral("slotChannelMode") << 5;
        QTest::newRow("gray") << QStringLiteral("slotGrayMode") << 1;
        QTest::newRow("morphology type") << QStringLiteral("slotMorphologyTypeCboChanged") << 4;
        QTest::newRow("filter") << QStringLiteral("slotfilerModeChange") << 2;
        QTest::newRow("pole filter") << QStringLiteral("slotfilerPoleModeChange") << 1;
    }
    void everyModeGroupAppliesByTimer()
    {
        QFETCH(QString, slot);
        QFETCH(int, value);
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QVERIFY(QMetaObject::invokeMethod(pDialog, slot.toLatin1().constData(), Q_ARG(int, value)));
        QCOMPARE(applyCount(), 0);
        QTRY_COMPARE(applyCount(), 1);
        const QMap<QString, int> written = {
            {QStringLiteral("slotSatChange"), manager().nSatMode},
            {QStringLiteral("slotBriChange"), manager().nBriMode},
            {QStringLiteral("slotChannelMode"), manager().nGrayMode},
            {QStringLiteral("slotGrayMode"), manager().nGrayProMode},
            {QStringLiteral("slotMorphologyTypeCboChanged"), manager().nMorphologyType},
            {QStringLiteral("slotfilerModeChange"), manager().nFilterMode},
            {QStringLiteral("slotfilerPoleModeChange"), manager().nFilterPoleMode},
        };
        QCOMPARE(written.value(slot), value);
    }

    // --- changes -----------------------------------------------------------------------------

    void sharpeningLevelWritesKernel()
    {
        manager().nSharpenKernel = 0;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        sharpeningCombo(pDialog)->setCurrentIndex(3); // "Level 3"
        QCOMPARE(applyCount(), 1);
        QCOMPARE(manager().nSharpenKernel, 7);
        QCOMPARE(manager().nMode5, 10);
    }

    void unknownHostKernelLeavesTheCombo()
    {
        manager().nSharpenKernel = 4;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QCOMPARE(sharpeningCombo(pDialog)->currentIndex(), 0);
        // An index outside the levels stores nothing but still applies.
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotSharpening", Q_ARG(int, 9)));
        QCOMPARE(applyCount(), 1);
        QCOMPARE(manager().nSharpenKernel, 4);
    }

    void blurSliderWritesOnlyOnRelease()
    {
        manager().nGoInterfereValue = 10;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QSlider* pSlider = vagueSlider(pDialog);
        pSlider->setSliderDown(true);
        pSlider->setValue(30);
        pSlider->setValue(55);
        QCOMPARE(vagueReadOut(pDialog)->text(), QStringLiteral("55%"));
        QTest::qWait(20);
        QCOMPARE(manager().nGoInterfereValue, 10);
        QCOMPARE(applyCount(), 0);
        pSlider->setSliderDown(false);
        QCOMPARE(applyCount(), 1);
        QCOMPARE(manager().nGoInterfereValue, 55);
    }

    void invertAndSharpeningSwitchApplyAtOnce()
    {
        manager().bIsInver = false;
        manager().bSharpening = 0;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        clickCheckBox(invertCheck(pDialog));
        QCOMPARE(applyCount(), 1);
        QCOMPARE(manager().bIsInver, true);
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotSharpeningEnableChange", Q_ARG(int, 2)));
        QCOMPARE(applyCount(), 2);
        QCOMPARE(manager().bSharpening, 2);
    }

    void filterControlsAreNotConnected()
    {
        setDistinctHostValues();
        HXL_AdvancedPreprocessingDialog* pDialog = open();

        // The operator moves the filter controls: nothing reaches the working copy.
        filterCombo(pDialog)->setCurrentIndex(2);
        poleCombo(pDialog)->setCurrentIndex(0);
        minSlider(pDialog)->setSliderDown(true);
        minSlider(pDialog)->setValue(250);
        minSlider(pDialog)->setSliderDown(false);
        poleSlider(pDialog)->setValue(5);
        QCOMPARE(minReadOut(pDialog)->text(), QStringLiteral("20"));
        QCOMPARE(maxSlider(pDialog)->value(), 200);
        QTest::qWait(400);
        QCOMPARE(applyCount(), 0);

        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotApplication"));
        QCOMPARE(manager().nFilterMode, 1);
        QCOMPARE(manager().nFilterMin, 20);
        QCOMPARE(manager().nFilterMax, 200);
        QCOMPARE(manager().nFilterPoleMode, 2);
        QCOMPARE(manager().nFilterPoleValue, 99);
    }

    void minimumAboveMaximumDragsTheMaximumAlong()
    {
        manager().nFilterMin = 10;
        manager().nFilterMax = 100;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotMinValueChange", Q_ARG(int, 180)));
        QCOMPARE(maxSlider(pDialog)->value(), 180);
        QCOMPARE(minReadOut(pDialog)->text(), QStringLiteral("180"));
        // The maximum slider is not connected: its read-out stays.
        QCOMPARE(maxReadOut(pDialog)->text(), QStringLiteral("100"));

        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotMaxValueChange", Q_ARG(int, 50)));
        QCOMPARE(minSlider(pDialog)->value(), 50);
        QCOMPARE(maxReadOut(pDialog)->text(), QStringLiteral("50"));
        QCOMPARE(applyCount(), 0);
        QCOMPARE(manager().nFilterMin, 10);
        QCOMPARE(manager().nFilterMax, 100);
    }

    void morphologySlotsWithoutWidgets()
    {
        manager().nMorphologyW = 3;
        manager().nMorphologyH = 77;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotMorphologySliderWValueChanged", Q_ARG(int, 9)));
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotMorphologySliderHValueChanged", Q_ARG(int, 8)));
        QCOMPARE(applyCount(), 0);
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotApplication"));
        QCOMPARE(manager().nMorphologyW, 9);
        QCOMPARE(manager().nMorphologyH, 77); // apply never writes H
    }

    // --- apply ----------------------------------------------------------------------------------

    void applyWritesTheWholeWorkingCopy()
    {
        setDistinctHostValues();
        manager().bIsInver = false;
        manager().nSatValue = 0; // outside the slider: kept until the slider moves
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QCOMPARE(satSlider(pDialog)->value(), 1);
        QCOMPARE(satReadOut(pDialog)->text(), QStringLiteral("0%"));

        briSlider(pDialog)->setValue(60);
        briWidthSlider(pDialog)->setValue(260);
        graySlider(pDialog)->setValue(61);
        grayWidthSlider(pDialog)->setValue(261);
        vagueSlider(pDialog)->setValue(62);
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotInverChange", Q_ARG(int, 2)));
        // The host as someone else left it meanwhile.
        manager().nMode5 = 3;
        manager().nSatMode = 0;
        manager().nMorphologyH = 55;
        manager().bIsInver = false;

        HostSim::journal().clear();
        bool bNoticeShownAtAnnounce = false;
        Probe probe([&] {
            bNoticeShownAtAnnounce = pDialog->findChild<HXL_ShowDealWithDialog*>()->isVisible();
        });
        connect(pDialog, &HXL_AdvancedPreprocessingDialog::sigGrayParamChanged, &probe, &Probe::hit);
        QElapsedTimer timer;
        timer.start();
        QVERIFY(QMetaObject::invokeMethod(pDialog, "slotApplication"));
        QVERIFY(timer.elapsed() >= 290);
        QVERIFY(bNoticeShownAtAnnounce);
        QVERIFY(!pDialog->findChild<HXL_ShowDealWithDialog*>()->isVisible());
        QCOMPARE(hostCalls(), kApplyCalls);

        const IZKVisionCameraManager& m = manager();
        QCOMPARE(m.nMode5, 10);
        QCOMPARE(m.nSatMode, 2);
        QCOMPARE(m.nSatValue, 0);
        QCOMPARE(m.nBriMode, 2);
        QCOMPARE(m.nBriValue, 60);
        QCOMPARE(m.nBriWidth, 260);
        QCOMPARE(m.nGrayMode, 4);
        QCOMPARE(m.nGrayProMode, 2);
        QCOMPARE(m.nGrayValue, 61);
        QCOMPARE(m.nGrayWidth, 261);
        QCOMPARE(m.nMorphologyType, 3);
        QCOMPARE(m.nMorphologyW, 7);
        QCOMPARE(m.nMorphologyH, 55);
        QCOMPARE(m.bSharpening, 1);
        QCOMPARE(m.nSharpenKernel, 9);
        QCOMPARE(m.nFilterMode, 1);
        QCOMPARE(m.nFilterMin, 20);
        QCOMPARE(m.nFilterMax, 200);
        QCOMPARE(m.nFilterPoleMode, 2);
        QCOMPARE(m.nFilterPoleValue, 99);
        QCOMPARE(m.bIsInver, true); // state 2 written as true
        QCOMPARE(m.nGoInterfereValue, 62);
    }

    void appicationSignalApplies()
    {
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        auto* pMainWindow = qobject_cast<hostsim::SimMainWindow*>(ZKWindowManager::singleton().getMainWindow());
        QVERIFY(pMainWindow);
        const int nBefore = pMainWindow->imageParamChangedCount();
        emit pDialog->sigAppication();
        QCOMPARE(applyCount(), 1);
        QCOMPARE(refreshCount(), 1);
        QCOMPARE(pMainWindow->imageParamChangedCount(), nBefore + 1);
    }

    // --- closing ---------------------------------------------------------------------------------

    void cancelWritesBackEverySavedField()
    {
        setDistinctHostValues();
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        pDialog->setAttribute(Qt::WA_DeleteOnClose);
        QPointer<HXL_AdvancedPreprocessingDialog> guard(pDialog);
        satSlider(pDialog)->setValue(11);
        briSlider(pDialog)->setValue(12);
        graySlider(pDialog)->setValue(13);
        vagueSlider(pDialog)->setValue(14);
        clickCheckBox(invertCheck(pDialog)); // applies
        QCOMPARE(manager().nSatValue, 11);
        QCOMPARE(manager().bIsInver, false);
        QCOMPARE(manager().nMode5, 10);
        manager().nMode5 = 4;
        manager().nMorphologyH = 66;

        QSignalSpy closeSpy(pDialog, &HXL_AdvancedPreprocessingDialog::sigClose);
        QSignalSpy rejectSpy(pDialog, &QDialog::rejected);
        HostSim::journal().clear();
        QElapsedTimer timer;
        timer.start();
        QTest::mouseClick(button(pDialog, QStringLiteral("cancel")), Qt::LeftButton);
        QVERIFY(timer.elapsed() < 250); // no wait
        QCOMPARE(closeSpy.count(), 1);
        QCOMPARE(rejectSpy.count(), 1);
        QCOMPARE(hostCalls(), kApplyCalls);

        const IZKVisionCameraManager& m = manager();
        QCOMPARE(m.nSatMode, 2);
        QCOMPARE(m.nSatValue, 41);
        QCOMPARE(m.nBriMode, 2);
        QCOMPARE(m.nBriWidth, 142);
        QCOMPARE(m.nBriValue, 43);
        QCOMPARE(m.nGrayMode, 4);
        QCOMPARE(m.nGrayProMode, 2);
        QCOMPARE(m.nGrayWidth, 144);
        QCOMPARE(m.nGrayValue, 45);
        QCOMPARE(m.nMorphologyType, 3);
        QCOMPARE(m.nMorphologyW, 7);
        QCOMPARE(m.nMorphologyH, 0); // never loaded: the dialog's own start value
        QCOMPARE(m.bSharpening, 1);
        QCOMPARE(m.nSharpenKernel, 9);
        QCOMPARE(m.nFilterMode, 1);
        QCOMPARE(m.nFilterMin, 20);
        QCOMPARE(m.nFilterMax, 200);
        QCOMPARE(m.nFilterPoleMode, 2);
        QCOMPARE(m.nFilterPoleValue, 99);
        QCOMPARE(m.bIsInver, true);
        QCOMPARE(m.nGoInterfereValue, 46);
        QCOMPARE(m.nMode5, 4); // restore leaves nMode5 alone
        QTRY_VERIFY(guard.isNull());
    }

    void escRestoresAndReportsTheCloseTwice_data()
    {
        QTest::addColumn<bool>("closeButton");
        QTest::newRow("Esc") << false;
        QTest::newRow("close button") << true;
    }
    void escRestoresAndReportsTheCloseTwice()
    {
        QFETCH(bool, closeButton);
        setDistinctHostValues();
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        QSignalSpy closeSpy(pDialog, &HXL_AdvancedPreprocessingDialog::sigClose);
        QSignalSpy rejectSpy(pDialog, &QDialog::rejected);
        int nClosesBeforeReject = -1;
        Probe probe([&] { nClosesBeforeReject = closeSpy.count(); });
        connect(pDialog, &QDialog::rejected, &probe, &Probe::hit);
        manager().nSatValue = 90;
        manager().nMorphologyH = 66;

        QElapsedTimer timer;
        timer.start();
        if (closeButton)
            pDialog->close();
        else
            QTest::keyClick(pDialog, Qt::Key_Escape);
        QVERIFY(timer.elapsed() < 250);
        QCOMPARE(closeSpy.count(), 2);
        QCOMPARE(nClosesBeforeReject, 1);
        QCOMPARE(rejectSpy.count(), 1);
        QVERIFY(!pDialog->isVisible());
        QCOMPARE(manager().nSatValue, 41);
        QCOMPARE(manager().nMorphologyH, 0);
        QCOMPARE(applyCount(), 1);
        QCOMPARE(refreshCount(), 1);
    }

    void okWritesNothing()
    {
        manager().nBriValue = 40;
        manager().nBriMode = 2;
        HXL_AdvancedPreprocessingDialog* pDialog = open();
        briSlider(pDialog)->setValue(70);
        QSignalSpy closeSpy(pDialog, &HXL_AdvancedPreprocessingDialog::sigClose);
        QSignalSpy acceptSpy(pDialog, &QDialog::accepted);
        QTest::mouseClick(button(pDialog, QStringLiteral("Ok")), Qt::LeftButton);
        QCOMPARE(closeSpy.count(), 1);
        QCOMPARE(acceptSpy.count(), 1);
        QVERIFY(!pDialog->isVisible());
        QCOMPARE(manager().nBriValue, 40);
        QCOMPARE(applyCount(), 0);
        QCOMPARE(refreshCount(), 0);
    }

    void destructorDeletesTheNotice()
    {
        auto* pDialog = new HXL_AdvancedPreprocessingDialog(nullptr);
        pDialog->InitUI();
        QPointer<HXL_ShowDealWithDialog> pNotice = pDialog->findChild<HXL_ShowDealWithDialog*>();
        QVERIFY(pNotice);
        delete pDialog;
        QVERIFY(pNotice.isNull());
    }
};

QTEST_MAIN(TestPreprocessingDialog)
#include "tst_preprocessing_dialog.moc"
