// The advanced morphology dialog: the table of steps, adding, deleting and
// clearing rows, the line-size limit, writing the list on OK and Apply and
// putting it back on Cancel, Esc and close.

#include "HXL_CameraUI.h"
#include "HXL_ModuleGlobals.h"
#include "auxiliary/HXL_ShowDealWithDialog.h"
#include "dialogs/HXL_AdvancedMorphologyDialog.h"
#include "dialogs/HXLParamDialogCommon.h"

#include "HostJournal.h"
#include "HostSim.h"
#include "services/SimApp.h"
#include "services/SimCameraManager.h"

#include "host/HXL_ServiceKeys.h"
#include "host/IServiceManager.h"
#include "host/ZKWindowManager.h"

#include <QComboBox>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QWheelEvent>
#include <QtTest>

#include <memory>

using hostsim::HostSim;

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

ZKMorphologyParam step(int nType, int nLineSize)
{
    ZKMorphologyParam param;
    param.nMorphType = nType;
    param.nLineSize = nLineSize;
    param.bEnable = 1;
    return param;
}

// The host list as "type:size:enable" entries, easy to compare.
QStringList hostList()
{
    QStringList list;
    for (const ZKMorphologyParam& param : manager().vecMorphology)
        list << QStringLiteral("%1:%2:%3").arg(param.nMorphType).arg(param.nLineSize).arg(param.bEnable);
    return list;
}

QTableWidget* table(QDialog* pDialog)
{
    return pDialog->findChild<QTableWidget*>();
}

QComboBox* rowCombo(QDialog* pDialog, int nRow)
{
    return qobject_cast<QComboBox*>(table(pDialog)->cellWidget(nRow, 0));
}

QLineEdit* rowEdit(QDialog* pDialog, int nRow)
{
    return qobject_cast<QLineEdit*>(table(pDialog)->cellWidget(nRow, 1));
}

// The table as "comboIndex:lineText" entries.
QStringList rows(QDialog* pDialog)
{
    QStringList list;
    for (int r = 0; r < table(pDialog)->rowCount(); ++r)
        list << QStringLiteral("%1:%2").arg(rowCombo(pDialog, r)->currentIndex()).arg(rowEdit(pDialog, r)->text());
    return list;
}

QPushButton* button(QDialog* pDialog, const QString& strText)
{
    for (QPushButton* pButton : pDialog->findChildren<QPushButton*>()) {
        if (pButton->text() == strText)
            return pButton;
    }
    return nullptr;
}

HXL_ShowDealWithDialog* notice(QDialog* pDialog)
{
    return pDialog->findChild<HXL_ShowDealWithDialog*>();
}

void sendWheel(QWidget* pWidget, int nDelta)
{
    const QPointF pos(pWidget->width() / 2.0, pWidget->height() / 2.0);
    QWheelEvent wheel(pos, QPointF(pWidget->mapToGlobal(pos.toPoint())), QPoint(), QPoint(0, nDelta), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(pWidget, &wheel);
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

// Answers the next message box that comes up with a given button and notes
// what it asked.
class MessageBoxAnswerer : public QObject
{
    Q_OBJECT
public:
    explicit MessageBoxAnswerer(QMessageBox::StandardButton answer) : m_answer(answer)
    {
        connect(&m_timer, &QTimer::timeout, this, &MessageBoxAnswerer::poll);
        m_timer.start(10);
    }

    bool answered = false;
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons;
    QMessageBox::Icon icon = QMessageBox::NoIcon;

private slots:
    void poll()
    {
        auto* pBox = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!pBox)
            return;
        m_timer.stop();
        title = pBox->windowTitle();
        text = pBox->text();
        buttons = pBox->standardButtons();
        icon = pBox->icon();
        answered = true;
        QTest::mouseClick(pBox->button(m_answer), Qt::LeftButton);
    }

private:
    QTimer m_timer;
    QMessageBox::StandardButton m_answer;
};

class TestMorphologyDialog : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_pDir;
    QList<QPointer<QDialog>> m_dialogs;

    HXL_AdvancedMorphologyDialog* open()
    {
        auto* pDialog = new HXL_AdvancedMorphologyDialog(nullptr);
        pDialog->InitUI();
        m_dialogs << pDialog;
        pDialog->show();
        return pDialog;
    }

    static void setHostList()
    {
        manager().vecMorphology = {step(1, 5), step(4, 20), step(0, 7)};
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
        const QMetaObject& meta = HXL_AdvancedMorphologyDialog::staticMetaObject;
        QCOMPARE(meta.superClass(), &QDialog::staticMetaObject);
        const QStringList expected = {
            QStringLiteral("signal sigGrayParamChanged()"), QStringLiteral("signal sigAppication()"),
            QStringLiteral("signal sigClose()"),            QStringLiteral("slot slotOK()"),
            QStringLiteral("slot slotCancle()"),            QStringLiteral("slot slotApplication()"),
            QStringLiteral("slot slotDelete()"),            QStringLiteral("slot slotClear()"),
            QStringLiteral("slot slotBlackAdd()"),          QStringLiteral("slot slotBlackDel()"),
            QStringLiteral("slot slotWhiteAdd()"),          QStringLiteral("slot slotWhiteDel()"),
            QStringLiteral("slot slotlineSizeLimit()")};
        QCOMPARE(ownMethods(meta), expected);
    }

    void constructorSetsFlagsAndStyleOnly()
    {
        HXL_AdvancedMorphologyDialog dialog(nullptr);
        QVERIFY(!(dialog.windowFlags() & Qt::WindowContextHelpButtonHint));
        QCOMPARE(dialog.styleSheet(), QStringLiteral("QTabBar::tab{height:30px;}                   "
                                                     "QPushButton{height:20px;}                   "
                                                     "QSpinBox{height:24px;}                   "
                                                     "QComboBox{height:22px;}                   "
                                                     "QLineEdit{height:22px;}"));
        QVERIFY(!dialog.findChild<QTableWidget*>());
        QVERIFY(!dialog.findChild<HXL_ShowDealWithDialog*>());
    }

    void layoutAndTable()
    {
        HostSim::uiConfig().nRowHeight = 30;
        HXL_AdvancedMorphologyDialog* pDialog = open();
        QCOMPARE(pDialog->minimumSize(), QSize(600, 250));
        QCOMPARE(pDialog->maximumSize(), QSize(600, 250));

        auto* pGrid = qobject_cast<QGridLayout*>(pDialog->layout());
        QVERIFY(pGrid);
        QCOMPARE(pGrid->contentsMargins(), QMargins(3, 3, 3, 3));
        const int buttonTexts[] = {45, 46, 47, 48};
        for (int r = 0; r < 4; ++r) {
            auto* pButton = qobject_cast<QPushButton*>(pGrid->itemAtPosition(r, 0)->widget());
            QVERIFY(pButton);
            QCOMPARE(pButton->text(), HXL_Text(buttonTexts[r]));
        }
        auto* pGroup = qobject_cast<QGroupBox*>(pGrid->itemAtPosition(0, 1)->widget());
        QVERIFY(pGroup);
        int nRow, nColumn, nRowSpan, nColumnSpan;
        pGrid->getItemPosition(pGrid->indexOf(pGroup), &nRow, &nColumn, &nRowSpan, &nColumnSpan);
        QCOMPARE(QVector<int>({nRow, nColumn, nRowSpan, nColumnSpan}), QVector<int>({0, 1, 4, 1}));
        QCOMPARE(pGroup->objectName(), QStringLiteral("myGroupBox"));
        QCOMPARE(pGroup->styleSheet(), QStringLiteral("QGroupBox#myGroupBox { border: 1px solid black; }"));
        auto* pGroupGrid = qobject_cast<QGridLayout*>(pGroup->layout());
        QCOMPARE(pGroupGrid->contentsMargins(), QMargins(2, 2, 2, 2));
        QCOMPARE(pGroupGrid->itemAtPosition(0, 0)->widget(), table(pDialog));
        pGroupGrid->getItemPosition(pGroupGrid->indexOf(table(pDialog)), &nRow, &nColumn, &nRowSpan, &nColumnSpan);
        QCOMPARE(nRowSpan, 2);
        QCOMPARE(qobject_cast<QPushButton*>(pGroupGrid->itemAtPosition(0, 1)->widget())->text(), HXL_Text(49));
        QCOMPARE(qobject_cast<QPushButton*>(pGroupGrid->itemAtPosition(1, 1)->widget())->text(), HXL_Text(50));

        QWidget* pBottom = pGrid->itemAtPosition(6, 0)->widget();
        QVERIFY(pBottom);
        pGrid->getItemPosition(pGrid->indexOf(pBottom), &nRow, &nColumn, &nRowSpan, &nColumnSpan);
        QCOMPARE(nColumnSpan, 2);
        QCOMPARE(pBottom->layout()->contentsMargins(), QMargins(0, 0, 0, 0));
        QStringList bottomTexts;
        for (int i = 0; i < pBottom->layout()->count(); ++i)
            bottomTexts << qobject_cast<QPushButton*>(pBottom->layout()->itemAt(i)->widget())->text();
        QCOMPARE(bottomTexts, QStringList({HXL_Text(40), HXL_Text(41), HXL_Text(53)}));

        QTableWidget* pTable = table(pDialog);
        QCOMPARE(pTable->columnCount(), 2);
        QCOMPARE(pTable->horizontalHeaderItem(0)->text(), HXL_Text(51));
        QCOMPARE(pTable->horizontalHeaderItem(1)->text(), HXL_Text(52));
        QCOMPARE(pTable->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        QCOMPARE(pTable->selectionMode(), QAbstractItemView::SingleSelection);
        QCOMPARE(pTable->selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(pTable->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(pTable->sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
        QCOMPARE(pTable->columnWidth(0), 204);
        QCOMPARE(pTable->columnWidth(1), 186);
        QCOMPARE(pTable->verticalHeader()->minimumWidth(), 30);
        QCOMPARE(pTable->verticalHeader()->defaultSectionSize(), 34);
        pDialog->slotBlackAdd();
        QCOMPARE(pTable->verticalHeader()->sectionResizeMode(0), QHeaderView::ResizeToContents);
        QCOMPARE(pTable->styleSheet(), QStringLiteral("QTableWidget::Item{border:0px solid rgb(255,0,0);"
                                                      "border-bottom:1px solid rgb(255,0,0);}"));
        QVERIFY(notice(pDialog));
        QVERIFY(!notice(pDialog)->isVisible());
        QCOMPARE(applyCount(), 0);
    }

    void oneRowPerHostStep()
    {
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        QCOMPARE(rows(pDialog), QStringList({QStringLiteral("1:5"), QStringLiteral("4:20"), QStringLiteral("0:7")}));
        QComboBox* pCombo = rowCombo(pDialog, 0);
        QStringList items;
        for (int i = 0; i < pCombo->count(); ++i)
            items << pCombo->itemText(i);
        QCOMPARE(items, QStringList({HXL_Text(54), HXL_Text(45), HXL_Text(46), HXL_Text(47), HXL_Text(48)}));
    }

    void addButtonsAppendPreselectedRows_data()
    {
        QTest::addColumn<int>("text");
        QTest::addColumn<int>("index");
        QTest::newRow("black add") << 45 << 1;
        QTest::newRow("black delete") << 46 << 2;
        QTest::newRow("white add") << 47 << 3;
        QTest::newRow("white delete") << 48 << 4;
    }
    void addButtonsAppendPreselectedRows()
    {
        QFETCH(int, text);
        QFETCH(int, index);
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        QTest::mouseClick(button(pDialog, HXL_Text(text)), Qt::LeftButton);
        QCOMPARE(table(pDialog)->rowCount(), 4);
        QCOMPARE(rowCombo(pDialog, 3)->currentIndex(), index);
        QCOMPARE(rowEdit(pDialog, 3)->text(), QStringLiteral("11"));
        QCOMPARE(rows(pDialog).mid(0, 3),
                 QStringList({QStringLiteral("1:5"), QStringLiteral("4:20"), QStringLiteral("0:7")}));
        QCOMPARE(hostList().size(), 3); // nothing written yet
    }

    void lineSizeLimit_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        QTest::newRow("0") << QStringLiteral("0") << QStringLiteral("1");
        QTest::newRow("-5") << QStringLiteral("-5") << QStringLiteral("1");
        QTest::newRow("1") << QStringLiteral("1") << QStringLiteral("1");
        QTest::newRow("50") << QStringLiteral("50") << QStringLiteral("50");
        QTest::newRow("99") << QStringLiteral("99") << QStringLiteral("99");
        QTest::newRow("100") << QStringLiteral("100") << QStringLiteral("100");
        QTest::newRow("250") << QStringLiteral("250") << QStringLiteral("100");
        QTest::newRow("not a number") << QStringLiteral("abc") << QStringLiteral("1");
    }
    void lineSizeLimit()
    {
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        HXL_AdvancedMorphologyDialog* pDialog = open();
        pDialog->slotWhiteAdd();
        // A row added later is limited just the same.
        QLineEdit* pEdit = rowEdit(pDialog, 0);
        pEdit->setFocus();
        pEdit->selectAll();
        QTest::keyClicks(pEdit, typed);
        QCOMPARE(pEdit->text(), typed);
        QTest::keyClick(pEdit, Qt::Key_Return);
        QCOMPARE(pEdit->text(), shown);
    }

    void lineSizeLimitNeedsALineEditSender()
    {
        HXL_AdvancedMorphologyDialog* pDialog = open();
        pDialog->slotBlackAdd();
        rowEdit(pDialog, 0)->setText(QStringLiteral("500"));
        pDialog->slotlineSizeLimit(); // no sender: nothing happens
        QCOMPARE(rowEdit(pDialog, 0)->text(), QStringLiteral("500"));
    }

    void deleteWithoutSelectionDoesNothing()
    {
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        QTableWidget* pTable = table(pDialog);
        // A current row without a selection: what the table has after the
        // operator clicked a row and then cleared the selection. Delete goes
        // by the selection only, so even this row stays.
        pTable->selectRow(1);
        pTable->clearSelection();
        pTable->setCurrentCell(1, 0, QItemSelectionModel::NoUpdate);
        QCOMPARE(pTable->currentRow(), 1);
        QVERIFY(pTable->selectionModel()->selectedIndexes().isEmpty());
        const QStringList before = rows(pDialog);
        QCOMPARE(before.size(), 3);

        QTest::mouseClick(button(pDialog, HXL_Text(49)), Qt::LeftButton);
        QCOMPARE(rows(pDialog), before);
    }

    void deleteRemovesTheSelectedRow()
    {
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        table(pDialog)->selectRow(1);
        QTest::mouseClick(button(pDialog, HXL_Text(49)), Qt::LeftButton);
        QCOMPARE(rows(pDialog), QStringList({QStringLiteral("1:5"), QStringLiteral("0:7")}));
    }

    void clearAsksFirst_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<int>("rowsLeft");
        QTest::newRow("Cancel keeps the rows") << int(QMessageBox::Cancel) << 3;
        QTest::newRow("Ok removes them") << int(QMessageBox::Ok) << 0;
    }
    void clearAsksFirst()
    {
        QFETCH(int, answer);
        QFETCH(int, rowsLeft);
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        MessageBoxAnswerer answerer(static_cast<QMessageBox::StandardButton>(answer));
        QTest::mouseClick(button(pDialog, HXL_Text(50)), Qt::LeftButton);
        QVERIFY(answerer.answered);
        QCOMPARE(answerer.title, HXL_Text(55));
        QCOMPARE(answerer.text, HXL_Text(56));
        QCOMPARE(answerer.buttons, QMessageBox::Ok | QMessageBox::Cancel);
        QCOMPARE(answerer.icon, QMessageBox::Information);
        QCOMPARE(table(pDialog)->rowCount(), rowsLeft);
        QCOMPARE(hostList().size(), 3); // the host list changes only on OK or Apply
    }

    void wheelOverARowComboIsSwallowed()
    {
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();

        // The same turn changes a combo box that has no filter.
        QComboBox control;
        control.addItems({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
        control.setCurrentIndex(1);
        control.show();
        sendWheel(&control, -120);
        QVERIFY(control.currentIndex() != 1);

        for (int r = 0; r < table(pDialog)->rowCount(); ++r) {
            QComboBox* pCombo = rowCombo(pDialog, r);
            const int nBefore = pCombo->currentIndex();
            sendWheel(pCombo, nBefore == 4 ? 120 : -120);
            QCOMPARE(pCombo->currentIndex(), nBefore);
        }
        // Rows added later too.
        pDialog->slotBlackDel();
        sendWheel(rowCombo(pDialog, 3), -120);
        QCOMPARE(rowCombo(pDialog, 3)->currentIndex(), 2);

        // And any slider the dialog watches.
        QSlider slider(Qt::Horizontal);
        slider.setRange(0, 100);
        slider.setValue(50);
        slider.installEventFilter(pDialog);
        slider.show();
        sendWheel(&slider, 120);
        QCOMPARE(slider.value(), 50);
    }

    void okWritesTheTableAndCloses()
    {
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        rowCombo(pDialog, 0)->setCurrentIndex(2);
        pDialog->slotWhiteAdd();
        rowEdit(pDialog, 2)->setText(QStringLiteral("abc")); // never edited: written as 0
        QSignalSpy paramSpy(pDialog, &HXL_AdvancedMorphologyDialog::sigGrayParamChanged);
        QSignalSpy closeSpy(pDialog, &HXL_AdvancedMorphologyDialog::sigClose);
        QSignalSpy acceptSpy(pDialog, &QDialog::accepted);
        bool bHiddenAtClose = false;
        connect(pDialog, &HXL_AdvancedMorphologyDialog::sigClose, pDialog,
                [&] { bHiddenAtClose = !pDialog->isVisible(); });

        QTest::mouseClick(button(pDialog, HXL_Text(40)), Qt::LeftButton);

        QCOMPARE(hostList(), QStringList({QStringLiteral("2:5:1"), QStringLiteral("4:20:1"), QStringLiteral("0:0:1"),
                                          QStringLiteral("3:11:1")}));
        QCOMPARE(paramSpy.count(), 1);
        QCOMPARE(applyCount(), 1);
        QCOMPARE(closeSpy.count(), 1);
        QCOMPARE(acceptSpy.count(), 1);
        QVERIFY(bHiddenAtClose); // accepted first, then reported
        QVERIFY(!notice(pDialog)->isVisible());
    }

    void applyThenCancelRestoresTheOpeningList()
    {
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        pDialog->setAttribute(Qt::WA_DeleteOnClose);
        QPointer<HXL_AdvancedMorphologyDialog> guard(pDialog);
        const QStringList opening = hostList();

        pDialog->slotWhiteDel();
        HostSim::journal().clear();
        bool bNoticeShownAtAnnounce = false;
        QObject context;
        connect(pDialog, &HXL_AdvancedMorphologyDialog::sigGrayParamChanged, &context,
                [&] { bNoticeShownAtAnnounce = notice(pDialog)->isVisible(); });
        QElapsedTimer timer;
        timer.start();
        QTest::mouseClick(button(pDialog, HXL_Text(53)), Qt::LeftButton);
        QVERIFY(timer.elapsed() >= 290);
        QVERIFY(bNoticeShownAtAnnounce);
        QVERIFY(!notice(pDialog)->isVisible());
        QCOMPARE(hostCalls(), QStringList({QStringLiteral("IMainWindow::slotImageParamChanged()"),
                                           QStringLiteral("ZKAppService::GetMainApp()"),
                                           QStringLiteral("ZKGloabVisionAppBase::GetDocument()"),
                                           QStringLiteral("IZKDocument::GetView()"),
                                           QStringLiteral("IZKView::RefreshView(true)")}));
        QCOMPARE(hostList(), opening + QStringList{QStringLiteral("4:11:1")});
        QVERIFY(pDialog->isVisible()); // Apply keeps the dialog open

        QSignalSpy closeSpy(pDialog, &HXL_AdvancedMorphologyDialog::sigClose);
        QSignalSpy rejectSpy(pDialog, &QDialog::rejected);
        QTest::mouseClick(button(pDialog, HXL_Text(41)), Qt::LeftButton);
        QCOMPARE(hostList(), opening);
        QCOMPARE(closeSpy.count(), 1);
        QCOMPARE(rejectSpy.count(), 1);
        QCOMPARE(applyCount(), 2);
        QTRY_VERIFY(guard.isNull());
    }

    void rejectRunsCancel_data()
    {
        QTest::addColumn<bool>("closeButton");
        QTest::newRow("Esc") << false;
        QTest::newRow("close button") << true;
    }
    void rejectRunsCancel()
    {
        QFETCH(bool, closeButton);
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        const QStringList opening = hostList();
        manager().vecMorphology.clear(); // changed meanwhile
        QSignalSpy closeSpy(pDialog, &HXL_AdvancedMorphologyDialog::sigClose);
        QSignalSpy paramSpy(pDialog, &HXL_AdvancedMorphologyDialog::sigGrayParamChanged);
        if (closeButton)
            pDialog->close();
        else
            QTest::keyClick(pDialog, Qt::Key_Escape);
        QVERIFY(!pDialog->isVisible());
        QCOMPARE(hostList(), opening);
        QCOMPARE(closeSpy.count(), 1);
        QCOMPARE(paramSpy.count(), 1);
    }

    void withoutCameraManagerNothingChanges()
    {
        setHostList();
        HXL_AdvancedMorphologyDialog* pDialog = open();
        pDialog->slotBlackAdd();
        QVERIFY(IServiceManager::singleton()->UnregisterService(HXLServiceKey::VisionCameraManager));
        QSignalSpy paramSpy(pDialog, &HXL_AdvancedMorphologyDialog::sigGrayParamChanged);
        QSignalSpy closeSpy(pDialog, &HXL_AdvancedMorphologyDialog::sigClose);

        QTest::mouseClick(button(pDialog, HXL_Text(40)), Qt::LeftButton);
        QCOMPARE(paramSpy.count(), 1);
        QVERIFY(pDialog->isVisible());
        QTest::mouseClick(button(pDialog, HXL_Text(41)), Qt::LeftButton);
        QCOMPARE(paramSpy.count(), 2);
        QVERIFY(pDialog->isVisible());
        QTest::keyClick(pDialog, Qt::Key_Escape);
        QCOMPARE(paramSpy.count(), 3);
        QVERIFY(pDialog->isVisible());
        QCOMPARE(closeSpy.count(), 0);
        QCOMPARE(refreshCount(), 0);
        QVERIFY(!notice(pDialog)->isVisible());

        // Apply without a manager leaves the notice up.
        QTest::mouseClick(button(pDialog, HXL_Text(53)), Qt::LeftButton);
        QCOMPARE(paramSpy.count(), 4);
        QVERIFY(notice(pDialog)->isVisible());
        QCOMPARE(refreshCount(), 0);
        QCOMPARE(hostList().size(), 3);
    }

    void applyUsesTheSharedWait()
    {
        QElapsedTimer clock;
        clock.start();
        const QTime start(23, 59, 59, 950);
        HXLParamDialogCommon::setTimeOfDayClock([&] { return start.addMSecs(int(clock.elapsed())); });
        HXL_AdvancedMorphologyDialog* pDialog = open();
        QElapsedTimer timer;
        timer.start();
        pDialog->slotApplication();
        QVERIFY(timer.elapsed() < 100);
        QCOMPARE(applyCount(), 1);
    }

    void destructorDeletesTheNotice()
    {
        auto* pDialog = new HXL_AdvancedMorphologyDialog(nullptr);
        pDialog->InitUI();
        QPointer<HXL_ShowDealWithDialog> pNotice = notice(pDialog);
        QVERIFY(pNotice);
        delete pDialog;
        QVERIFY(pNotice.isNull());
    }
};

QTEST_MAIN(TestMorphologyDialog)
#include "tst_morphology_dialog.moc"
