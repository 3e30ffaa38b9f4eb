// The table designer's properties panel (capacity, level, encryption with its
// password, collation), a new encrypted table, the status bar with its
// progress bar, and the boxes and dialogs placed over the designer by the
// real dialog service. With OSTRA_SCREENSHOTS naming a folder, the last case
// saves pictures of the designer there.
#include "designer_helper.h"
#include "tabledesigner_helper.h"
#include "../common/password_helper.h"

#include "common/ostcentermessagebox.h"
#include "designer/core/osttableprops.h"
#include "designer/ostcolumnpropseditor.h"
#include "query/ostfilterdlg.h"
#include "setup/ostpasswordchangedlg.h"

#include <QPainter>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QScreen>
#include <QSpinBox>
#include <QTabWidget>

class TstTableDesignerProps : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void capacityTakesThousandsSeparators();
    void levelDecidesEncryptionAndKeys();
    void collationNeedsLevelSix();
    void newEncryptedTableAsksForThePassword();
    void statusBarCarriesTheProgress();
    void boxesAndDialogsStandOverTheDesigner();
    void differenceDialogRowsAndKeys();
    void screenshots();
};

namespace {

std::unique_ptr<TOstTable> LevelFourTable(const QString& location) {
    auto t = std::make_unique<TOstTable>();
    t->SetDatabaseName(location);
    t->SetTableName("Archive");
    t->SetTableLevel(4);
    t->GetFieldDefsOst().Add("Code", dtString, 10);
    t->CreateTable();
    t->Open();
    return t;
}

QPoint CentredOver(const QWidget* owner, const QWidget* box) {
    return CenteredPosition(TRect::FromQRect(owner->frameGeometry()), box->frameGeometry().size(),
                            box->screen()->geometry().size());
}

} // namespace

void TstTableDesignerProps::capacityTakesThousandsSeparators() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    QVERIFY(ShowActive(designer));
    TOstTable* working = designer.Core().WorkingTable();
    QComboBox* capacity = designer.CapacityComboBox();
    QCOMPARE(capacity->currentText(), QStringLiteral("100,000"));
    QCOMPARE(ItemTexts(capacity), CapacityItems());

    TypeAndLeave(designer, capacity, "250,000");
    QCOMPARE(working->GetCapacity(), 250000);
    TypeAndLeave(designer, capacity, "100.000"); // an entry of the list
    QCOMPARE(working->GetCapacity(), 100000);

    // Refused: the message, the focus back in the combo, the capacity kept;
    // what was set before the capacity stays set.
    const QString refused = QStringLiteral("Error: Capacity must be within 1000 and 2147483647");
    designer.TableNameEdit()->setText("Persons");
    for (const char* text : {"999", "abc", "99999999999"}) {
        dialogs->Press(QMessageBox::Ok);
        TypeAndLeave(designer, capacity, text);
        QCOMPARE(dialogs.LastMessage(), refused);
        QTRY_VERIFY(capacity->hasFocus());
        QCOMPARE(working->GetCapacity(), 100000);
    }
    QCOMPARE(working->GetTableName(), QStringLiteral("Persons"));
    QCOMPARE(designer.windowTitle(), QStringLiteral("Ostra Table Designer - Persons"));
    TypeAndLeave(designer, capacity, "1000");
    QCOMPARE(working->GetCapacity(), 1000);
    QCOMPARE(dialogs.Messages().size(), 3);
    QCOMPARE(dialogs.Failures(), QStringList());
}

void TstTableDesignerProps::levelDecidesEncryptionAndKeys() {
    PeopleTable people;
    auto archive = LevelFourTable(people.location);
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(archive.get());
    QVERIFY(ShowActive(designer));
    TOstTable* working = designer.Core().WorkingTable();
    QComboBox* encryption = designer.EncryptionTypComboBox();
    QPushButton* pwd = designer.EncryptionKeyBtn();
    QCOMPARE(designer.TableLevelSpinEdit()->value(), 4);
    QCOMPARE(ItemTexts(encryption), QStringList({"Default", "None", "Protection", "Classic", "FastEncrypt",
                                             "Blowfish", "Rijndael/AES"}));
    QCOMPARE(encryption->currentText(), QStringLiteral("Default"));
    QVERIFY(!pwd->isEnabled());
    encryption->setCurrentText("None");
    QVERIFY(!pwd->isEnabled());
    QCOMPARE(working->GetEncryptionMethod(), int(emNone));
    // Choosing a method that encrypts asks for its password at once; without
    // one, the method stays as it was.
    AnswerPassword(QString());
    encryption->setCurrentText("Protection");
    QCOMPARE(encryption->currentText(), QStringLiteral("None"));
    QCOMPARE(working->GetEncryptionMethod(), int(emNone));
    QVERIFY(!pwd->isEnabled());
    int asked = -1;
    AnswerPassword("first1", &asked);
    encryption->setCurrentText("Protection");
    QCOMPARE(asked, int(emProtection));
    QCOMPARE(working->GetEncryptionMethod(), int(emProtection));
    QCOMPARE(designer.Core().EncryptionKey(), QStringLiteral("first1"));
    QVERIFY(pwd->isEnabled());

    // The password dialog gets the method chosen; cancelling it forgets the key.
    AnswerPassword("second");
    encryption->setCurrentText("Blowfish");
    QCOMPARE(designer.Core().EncryptionKey(), QStringLiteral("second"));
    AnswerPassword("secret1", &asked);
    QTest::mouseClick(pwd, Qt::LeftButton);
    QCOMPARE(asked, int(emBlowfish));
    QCOMPARE(designer.Core().EncryptionKey(), QStringLiteral("secret1"));
    QCOMPARE(working->GetEncryptionMethod(), int(emBlowfish));
    AnswerPassword(QString());
    QTest::mouseClick(pwd, Qt::LeftButton);
    QCOMPARE(designer.Core().EncryptionKey(), QString());
    AnswerPassword("secret2");
    QTest::mouseClick(pwd, Qt::LeftButton);

    // Level 3 offers no Blowfish: back to the default, no key, no "Pwd".
    TypeAndLeave(designer, designer.TableLevelSpinEdit(), "3");
    QCOMPARE(working->GetTableLevel(), 3);
    QCOMPARE(ItemTexts(encryption), QStringList({"Default", "None", "Protection", "Classic"}));
    QCOMPARE(encryption->currentText(), QStringLiteral("Default"));
    QCOMPARE(working->GetEncryptionMethod(), int(emDefault));
    QCOMPARE(designer.Core().EncryptionKey(), QString());
    QVERIFY(!pwd->isEnabled());
    QVERIFY(!designer.PrimaryKeyAct()->isEnabled());

    // A method the lower level still offers stays, with its key.
    AnswerPassword("secret;42", &asked);
    encryption->setCurrentText("Classic");
    QCOMPARE(asked, int(emClassic));
    TypeAndLeave(designer, designer.TableLevelSpinEdit(), "2");
    QCOMPARE(encryption->currentText(), QStringLiteral("Classic"));
    QCOMPARE(designer.Core().EncryptionKey(), QStringLiteral("secret;42"));
    QCOMPARE(dialogs.Messages(), QStringList());
}

void TstTableDesignerProps::collationNeedsLevelSix() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    QVERIFY(ShowActive(designer));
    TOstTable* working = designer.Core().WorkingTable();
    QComboBox* collation = designer.CollationsComboBox();
    QCOMPARE(collation->currentText(), QStringLiteral("Ostra"));
    QVERIFY(collation->isEnabled());

    // The engine's collation stands alone, whatever the boxes say.
    designer.CaseSensitiveCheckBox()->click();
    QCOMPARE(working->GetCollationName(), QStringLiteral("Ostra"));
    QVERIFY(designer.Core().RefreshModificationsList().IsEmpty());

    const int entry = collation->findText("de_DE") >= 0 ? collation->findText("de_DE") : 0;
    const QString base = collation->itemText(entry);
    QVERIFY(base != "Ostra");
    collation->setCurrentIndex(entry);
    QCOMPARE(working->GetCollationName(), base + "_cs_as");
    designer.AccentSensitiveCheckBox()->click();
    designer.CaseSensitiveCheckBox()->click();
    QCOMPARE(working->GetCollationName(), base + "_ci_ai");

    // Collations need level 6.
    designer.TableLevelSpinEdit()->setValue(5);
    QVERIFY(!collation->isEnabled());
    designer.TableLevelSpinEdit()->setValue(6);
    QVERIFY(collation->isEnabled());

    // A stored collation is shown split into its entry and the boxes.
    ApplyConfirmed(designer);
    QCOMPARE(people.table->GetCollationName(), base + "_ci_ai");
    QCOMPARE(collation->currentText(), base);
    QVERIFY(!designer.CaseSensitiveCheckBox()->isChecked());
    QVERIFY(!designer.AccentSensitiveCheckBox()->isChecked());
    QCOMPARE(dialogs.Messages(), QStringList());
}

void TstTableDesignerProps::newEncryptedTableAsksForThePassword() {
    PeopleTable people;
    TOstTable orders;
    orders.SetDatabaseName(people.location);
    orders.SetTableName("Orders");
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetNewTable(true);
    designer.SetOstDataset(&orders);
    QVERIFY(ShowActive(designer));
    QVERIFY(designer.NewTable());
    QCOMPARE(designer.ColumnListView()->topLevelItemCount(), 0);
    designer.NewColumnAct()->trigger();
    int asked = -1;
    AnswerPassword("letmein", &asked);
    designer.EncryptionTypComboBox()->setCurrentText("Protection");
    QCOMPARE(asked, int(emProtection));
    LeaveToList(designer);
    designer.TableNameEdit()->setFocus(Qt::TabFocusReason);
    LeaveToList(designer);
    QCOMPARE(designer.Core().WorkingTable()->GetEncryptionMethod(), int(emProtection));

    // The password forgotten ("Pwd" cancelled): Apply asks again; no password, no table, and no
    // question about the changes.
    AnswerPassword(QString());
    QTest::mouseClick(designer.EncryptionKeyBtn(), Qt::LeftButton);
    QCOMPARE(designer.Core().EncryptionKey(), QString());
    AnswerPassword(QString());
    QTest::mouseClick(designer.ApplyBtn(), Qt::LeftButton);
    QVERIFY(!orders.Exists());
    QVERIFY(!designer.Core().ChangesApplied());

    asked = -1;
    AnswerPassword("letmein", &asked);
    QStringList differences;
    ApplyConfirmed(designer, &differences);
    QCOMPARE(asked, int(emProtection));
    QVERIFY2(orders.Active(), qPrintable(dialogs.Messages().join(u'\n')));
    QVERIFY(!designer.NewTable());
    QCOMPARE(orders.GetEncryptionMethod(), int(emProtection));
    QCOMPARE(orders.GetFieldDefsOst()[0]->GetName(), QStringLiteral("Column1"));
    QVERIFY(differences.contains("1|Column1 added."));
    QCOMPARE(dialogs.Messages(), QStringList());
}

void TstTableDesignerProps::statusBarCarriesTheProgress() {
    PeopleTable people;
    TOstTableDesigner designer;
    designer.SetOstDataset(people.table.get());
    QVERIFY(ShowActive(designer));
    TDesignerStatusBar* bar = designer.TableDesignerStatusBar();
    QProgressBar* progress = designer.ProgressBar();
    QCOMPARE(bar->PanelRect(0).width(), 150);
    QCOMPARE(progress->parentWidget(), bar);
    // Laid over the owner-drawn panel, one pixel larger on every side, also after a resize.
    QTRY_COMPARE(progress->geometry(), bar->PanelRect(1).adjusted(-1, -1, 1, 1));
    designer.resize(designer.width() + 120, designer.height());
    QTRY_COMPARE(progress->geometry(), bar->PanelRect(1).adjusted(-1, -1, 1, 1));
    QVERIFY(bar->PanelRect(1).left() >= bar->PanelRect(0).right());

    QVERIFY(!progress->isVisible());
    designer.SetProgress(40);
    QVERIFY(progress->isVisible());
    QCOMPARE(progress->value(), 40);
    designer.SetProgress(0);
    QVERIFY(!progress->isVisible());
    designer.SetProgress(70);
    designer.SetStatusText("Creating index ByName ...");
    QCOMPARE(bar->PanelText(), QStringLiteral("Creating index ByName ..."));
    QVERIFY(!progress->isVisible());
    QCOMPARE(progress->value(), 0);

    // The page that becomes active names itself; a progress shown goes.
    designer.SetProgress(55);
    designer.DesignerPageControl()->setCurrentWidget(designer.IndexesPage());
    QCOMPARE(bar->PanelText(), QStringLiteral("Indexes"));
    QVERIFY(!progress->isVisible());
    designer.DesignerPageControl()->setCurrentWidget(designer.GeneralPage());
    QCOMPARE(bar->PanelText(), QStringLiteral("General"));

    // While busy the pages and buttons take nothing.
    designer.SetBusy(true);
    QVERIFY(!designer.DesignerPageControl()->isEnabled());
    QVERIFY(!designer.ApplyBtn()->isEnabled() && !designer.CloseBtn()->isEnabled());
    designer.SetBusy(false);
    QVERIFY(designer.DesignerPageControl()->isEnabled());
    QVERIFY(designer.ApplyBtn()->isEnabled() && designer.CloseBtn()->isEnabled());
    QVERIFY(!QApplication::overrideCursor());
}

void TstTableDesignerProps::boxesAndDialogsStandOverTheDesigner() {
    PeopleTable people;
    TOstTableDesigner designer;
    designer.SetOstDataset(people.table.get());
    designer.setGeometry(140, 110, 820, 560);
    QFont font = designer.font();
    font.setPointSize(font.pointSize() + 2);
    designer.setFont(font);
    QVERIFY(ShowActive(designer));

    struct Case {
        QString caption;
        QMessageBox::Icon icon;
        std::function<void()> show;
    };
    ITableDesignerView::TAnswer answer = ITableDesignerView::No;
    const QList<Case> cases = {
        {"Error", QMessageBox::Critical, [&] { designer.ShowErrorMsg("Something failed"); }},
        {"Information", QMessageBox::Information, [&] { designer.ShowInfoMsg(DesignerText::NoChanges()); }},
        {"Question", QMessageBox::Question,
         [&] { answer = designer.GetQuestionResult(DesignerText::CancelChanges()); }},
    };
    for (const Case& c : cases) {
        bool placed = false;
        WhenShown<QMessageBox>(
            [&](QMessageBox* box) {
                QCOMPARE(box->parentWidget(), &designer);
                QCOMPARE(box->icon(), c.icon);
                QTRY_COMPARE_WITH_TIMEOUT(box->pos(), CentredOver(&designer, box), 1000);
                placed = true;
                box->button(c.icon == QMessageBox::Question ? QMessageBox::Yes : QMessageBox::Ok)->click();
            },
            c.caption);
        c.show();
        QVERIFY2(placed, qPrintable(c.caption));
    }
    QCOMPARE(answer, ITableDesignerView::Yes);

    // The difference dialog: the designer's font, centred on it.
    designer.Core().Columns()[2]->SetSize(25);
    bool placed = false;
    WhenShown<TTableStructureDifferenceDlg>([&](TTableStructureDifferenceDlg* dialog) {
        QCOMPARE(dialog->font(), designer.font());
        QTRY_COMPARE_WITH_TIMEOUT(dialog->pos(), CentredOver(&designer, dialog), 1000);
        QCOMPARE(Rows(dialog->ListView(), 2), QStringList({"3|City extended."}));
        placed = true;
        dialog->CancelButton()->click();
    });
    QTest::mouseClick(designer.ApplyBtn(), Qt::LeftButton);
    QVERIFY(placed);
    QCOMPARE(people.table->GetFieldDefsOst()[2]->GetSize(), 20);
}

void TstTableDesignerProps::differenceDialogRowsAndKeys() {
    TTableStructureDifferenceDlg dialog;
    TModifications list;
    dialog.SetModifications(list);
    QCOMPARE(Rows(dialog.ListView(), 2), QStringList({"|No changes to table structure"}));
    list.Add(mtTable, "Persons", "People", 0, mdTableRenamed);
    list.Add(mtColumn, "City", "City", 3, mdColumnTruncated);
    dialog.SetModifications(list);
    QCOMPARE(Rows(dialog.ListView(), 2), QStringList({"|Table renamend to Persons", "3|City truncated."}));

    // Escape cancels, Enter confirms.
    WhenShown<TTableStructureDifferenceDlg>(
        [](TTableStructureDifferenceDlg* d) { QTest::keyClick(d, Qt::Key_Escape); });
    QCOMPARE(dialog.exec(), int(QDialog::Rejected));
    WhenShown<TTableStructureDifferenceDlg>(
        [](TTableStructureDifferenceDlg* d) { QTest::keyClick(d, Qt::Key_Return); });
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
}

void TstTableDesignerProps::screenshots() {
    const QString folder = qEnvironmentVariable("OSTRA_SCREENSHOTS");
    if (folder.isEmpty()) QSKIP("OSTRA_SCREENSHOTS names no folder");
    QVERIFY(QDir().mkpath(folder));
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));

    QTemporaryDir dir;
    const QString location = dir.filePath("sales");
    TOstDatabase db;
    db.SetLocation(location);
    db.CreateDatabase();
    TOstTable customers;
    customers.SetDatabaseName(location);
    customers.SetTableName("Customers");
    TOstFieldDefs& defs = customers.GetFieldDefsOst();
    defs.Add("CustomerID", dtAutoInc, 0)->SetSpec("\"CustomerID\"");
    defs.Add("Company", dtString, 60)->SetNullable(false);
    defs.Add("Contact", dtString, 40);
    defs.Add("Street", dtString, 60);
    defs.Add("City", dtString, 30);
    defs.Add("Country", dtString, 30);
    defs.Add("Phone", dtString, 24);
    defs.Add("CreditLimit", dtFloat, 0)->SetPrecision(2);
    defs.Add("CustomerSince", dtDate, 0);
    defs.Add("Active", dtBoolean, 0)->SetNullable(false);
    defs.Add("Notes", dtMemo, 0);
    customers.IndexDefs().Add("sys_primary", "CustomerID", ixPrimary | ixUnique);
    customers.IndexDefs().Add("ByCompany", "Company", TIndexOptions());
    customers.IndexDefs().Add("ByPhone", "Phone", ixUnique);
    TCheckConstraint* limit = customers.CheckConstraints().Add();
    limit->Name = "CreditLimitRange";
    limit->ImportedConstraint = "(CreditLimit >= 0) and (CreditLimit <= 1000000)";
    limit->ErrorMessage = "A credit limit lies between 0 and 1,000,000";
    TCheckConstraint* since = customers.CheckConstraints().Add();
    since->Name = "KnownSince";
    since->ImportedConstraint = "CustomerSince >= '01/01/1990'";
    since->ErrorMessage = "Customers are known since 1990 at the earliest";
    customers.SetCapacity(250000);
    customers.CreateTable();
    customers.Open();
    customers.AppendRecord({QVariant(), "Nordwind Handel", "Ines Berg", "Hafenstr. 4", "Hamburg", "Germany",
                            "+49 40 1234", 25000.0, QDate(2019, 3, 1), true, QVariant()});
    customers.AppendRecord({QVariant(), "Lumière Import", "Paul Roux", "12 rue Vieille", "Lyon", "France",
                            "+33 4 7200", 18000.0, QDate(2021, 9, 14), true, QVariant()});

    TOstTableDesigner designer;
    designer.SetOstDataset(&customers);
    designer.resize(960, 640);
    QVERIFY(ShowActive(designer));
    designer.ColumnListView()->setCurrentItem(designer.ColumnListView()->topLevelItem(1));
    designer.DesignerPageControl()->setCurrentWidget(designer.ChecksPage());
    designer.DesignerPageControl()->setCurrentWidget(designer.GeneralPage());
    QTest::qWait(50);
    QVERIFY(designer.grab().save(QDir(folder).filePath("designer-general.png")));

    // The Checks page, and the filter dialog over the customers as "..." opens it.
    designer.DesignerPageControl()->setCurrentWidget(designer.ChecksPage());
    designer.ChecksListView()->setCurrentItem(designer.ChecksListView()->topLevelItem(0));
    QTest::qWait(50);
    QVERIFY(designer.grab().save(QDir(folder).filePath("designer-checks.png")));
    {
        TOstFilterDialog filter;
        filter.SetOstDataset(&customers);
        filter.resize(720, 480);
        QVERIFY(ShowActive(filter));
        // Three conditions through the wizard, the last one indented under the second.
        auto add = [&filter](const QString& field, const QString& op, const QString& value, const QString& junction) {
            filter.AddAct()->trigger();
            filter.FieldComboBox()->setCurrentIndex(filter.FieldComboBox()->findText(field));
            filter.OperatorComboBox()->setCurrentText(op);
            if (filter.ValueEdit()->isVisible()) filter.ValueEdit()->setText(value);
            else filter.ValueSpinEdit()->setValue(value.toInt());
            if (filter.JunctionComboBox()->isEnabled()) filter.JunctionComboBox()->setCurrentText(junction);
            filter.UpdateConditionBtn()->click();
        };
        add("Country", "=", "Germany", "");
        add("CreditLimit", ">", "10000", "and");
        add("City", "=", "Hamburg", "or");
        filter.IndentRightAct()->trigger();
        filter.ConditionTreeView()->expandAll();
        QTest::qWait(50);
        QVERIFY(filter.grab().save(QDir(folder).filePath("filter-dialog.png")));
    }

    // The Relationships page of an Orders table whose customer must exist.
    TOstTable orders;
    orders.SetDatabaseName(location);
    orders.SetTableName("Orders");
    orders.GetFieldDefsOst().Add("OrderID", dtAutoInc, 0)->SetSpec("\"OrderID\"");
    orders.GetFieldDefsOst().Add("Customer", dtInteger, 0);
    orders.GetFieldDefsOst().Add("Phone", dtString, 24);
    orders.GetFieldDefsOst().Add("Ordered", dtDate, 0);
    orders.IndexDefs().Add("sys_primary", "OrderID", ixPrimary | ixUnique);
    TOstForeignKeyDef* customer = orders.GetIntegrityRules().Add("OrderCustomer");
    customer->ParentTable = "Customers";
    customer->ChildFields = "Customer";
    customer->ParentFields = "CustomerID";
    customer->DeleteAction = faCascade;
    TOstForeignKeyDef* phone = orders.GetIntegrityRules().Add("CallBack");
    phone->ParentTable = "Customers";
    phone->ChildFields = "Phone";
    phone->ParentFields = "Phone";
    orders.CreateTable();
    {
        TOstTableDesigner relations;
        relations.SetOstDataset(&orders);
        relations.resize(960, 640);
        QVERIFY(ShowActive(relations));
        relations.DesignerPageControl()->setCurrentWidget(relations.RelationshipsPage());
        QTest::qWait(50);
        QVERIFY(relations.grab().save(QDir(folder).filePath("designer-relationships.png")));
    }
    QVERIFY(Reactivate(designer));
    designer.DesignerPageControl()->setCurrentWidget(designer.GeneralPage());

    // Some edits, and the list that asks for their confirmation.
    designer.Core().Columns()[2]->SetName("ContactName");
    designer.Core().Columns()[4]->SetSize(40);
    designer.Core().AddColumn(6, "Email")->SetSize(80);
    designer.Core().DeleteColumn(10);
    designer.Core().WorkingTable()->SetCapacity(1000000);
    designer.UpdateColumnsListView(designer.Core().Columns()[6]);
    // A dialog drawn over the designer where it stands, the designer dimmed.
    auto over = [&designer](QWidget* top) {
        QPixmap picture = designer.grab();
        QPainter p(&picture);
        p.fillRect(picture.rect(), QColor(0, 0, 0, 48));
        p.drawPixmap(top->geometry().topLeft() - designer.geometry().topLeft(), top->grab());
        return picture;
    };
    bool saved = false;
    WhenShown<TTableStructureDifferenceDlg>([&](TTableStructureDifferenceDlg* dialog) {
        QTest::qWait(50);
        saved = over(dialog).save(QDir(folder).filePath("designer-differences.png"));
        dialog->CancelButton()->click();
    });
    QTest::mouseClick(designer.ApplyBtn(), Qt::LeftButton);
    QVERIFY(saved);

    saved = false;
    WhenShown<QMessageBox>(
        [&](QMessageBox* box) {
            QTest::qWait(50);
            saved = over(box).save(QDir(folder).filePath("designer-error.png"));
            box->button(QMessageBox::Ok)->click();
        },
        QStringLiteral("Error"));
    QVERIFY(Reactivate(designer));
    designer.CapacityComboBox()->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(designer.CapacityComboBox()->hasFocus());
    designer.CapacityComboBox()->setEditText("999");
    LeaveToList(designer);
    QVERIFY(saved);
    QLocale::setDefault(QLocale::c());
}

QTEST_MAIN(TstTableDesignerProps)
#include "tst_tabledesignerprops.moc"
