// The designer's Indexes page as a user works it: the list and its actions,
// adding through the index definition dialog (back with everything entered
// after a refused name), editing, deleting, the edit guard, a fulltext index
// with a new encrypted dictionary applied and searched, the form taking no
// input while indexes are applied, and the column property editor's index
// boxes editing the same definitions. With OSTRA_SCREENSHOTS naming a folder,
// the last case takes the README's pictures of the page and the dialog.
#include "designer_helper.h"
#include "tabledesigner_helper.h"
#include "../common/password_helper.h"

#include "designer/ostcolumnpropseditor.h"
#include "engine/ostquery.h"
#include "indexdef/ostnewindexdlg.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QProcess>
#include <QProgressBar>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>

class TstIndexPage : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void listAndActions();
    void addComesBackAfterARefusedName();
    void editAndDelete();
    void structureEditsRefuseIndexEdits();
    void fulltextWithNewEncryptedDictionary();
    void noInputWhileIndexesAreApplied();
    void columnIndexBoxes();
    void screenshots();
};

namespace {

QStringList IndexRows(const TOstTableDesigner& d) { return Rows(d.IndexListView(), 6); }

void SelectIndex(TOstTableDesigner& d, const QString& caption) {
    const QList<QTreeWidgetItem*> found = d.IndexListView()->findItems(caption, Qt::MatchExactly);
    QVERIFY(!found.isEmpty());
    d.IndexListView()->setCurrentItem(found.first());
}

// Fills the dialog in as a user: the name, one column into the key, OK.
void DefineKey(TIndexDefinition* d, const QString& name, const QString& column) {
    d->IndexNameEdit()->setText(name);
    d->PageControl()->setCurrentWidget(d->HierarchicalPage());
    const QList<QListWidgetItem*> found = d->AvailableColumnsList()->findItems(column, Qt::MatchExactly);
    if (!found.isEmpty()) {
        d->AvailableColumnsList()->setCurrentItem(found.first());
        d->InsertColumnBtn()->click();
    }
    d->OkBtn()->click();
}

} // namespace

void TstIndexPage::listAndActions() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    QCOMPARE(IndexRows(designer), QStringList({"ByCity|City||29|4096|100000"}));
    QVERIFY(designer.IndexListView()->topLevelItem(0)->textAlignment(3) & Qt::AlignRight);
    // Keyboard users: shortcuts and tab stops on the toolbar.
    for (QAction* a : {designer.NewIndexAct(), designer.EditIndexAct(), designer.DeleteIndexAct()}) {
        QVERIFY(!a->shortcut().isEmpty());
        QCOMPARE(designer.IndexToolBar()->widgetForAction(a)->focusPolicy(), Qt::StrongFocus);
    }
    // Nothing selected: only Add.
    QVERIFY(designer.NewIndexAct()->isEnabled());
    QVERIFY(!designer.EditIndexAct()->isEnabled() && !designer.DeleteIndexAct()->isEnabled());
    SelectIndex(designer, "ByCity");
    QVERIFY(designer.EditIndexAct()->isEnabled() && designer.DeleteIndexAct()->isEnabled());

    // The primary index and the engine's own: their icons, never edited or deleted.
    people.table->Close();
    people.table->ReadDefinitions();
    people.table->IndexDefs().Add("sys_primary", "ID", ixPrimary | ixUnique);
    people.table->AlterTable();
    people.table->AddFulltextIndex2("Words.fti", "Name", "PeopleDict", QString());
    people.table->Open();
    TOstTableDesigner second;
    second.SetOstDataset(people.table.get());
    QCOMPARE(IndexRows(second), QStringList({"ByCity|City||29|4096|100000", "sys_primary|ID|unique|16|4096|100000",
                                             "Words|Name||||"}));
    QTreeWidget* list = second.IndexListView();
    const qint64 icon[3] = {list->topLevelItem(0)->icon(0).cacheKey(), list->topLevelItem(1)->icon(0).cacheKey(),
                            list->topLevelItem(2)->icon(0).cacheKey()};
    QVERIFY(icon[0] != icon[1] && icon[1] != icon[2] && icon[0] != icon[2]);
    for (const char* system : {"sys_primary", "Words"}) {
        SelectIndex(second, system);
        QVERIFY(!second.EditIndexAct()->isEnabled() && !second.DeleteIndexAct()->isEnabled());
        second.DeleteIndexActExecute();
        QCOMPARE(list->topLevelItemCount(), 3);
    }
    QVERIFY(dialogs.Failures().isEmpty());

    // A table without indexes: an empty list.
    auto bare = std::make_unique<TOstTable>();
    bare->SetDatabaseName(people.location);
    bare->SetTableName("Bare");
    bare->GetFieldDefsOst().Add("A", dtInteger, 0);
    bare->CreateTable();
    TOstTableDesigner third;
    third.SetOstDataset(bare.get());
    QCOMPARE(third.IndexListView()->topLevelItemCount(), 0);
    QVERIFY(!third.EditIndexAct()->isEnabled() && !third.DeleteIndexAct()->isEnabled());
}

void TstIndexPage::addComesBackAfterARefusedName() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    dialogs->Press(QMessageBox::Ok);
    QString nameShownAgain;
    QStringList keysShownAgain;
    WhenShown<TIndexDefinition>([&](TIndexDefinition* d) {
        QVERIFY(d->LengthSpinEdit()->isHidden()); // the page offers no key lengths
        // The second showing, after the refused name.
        WhenShown<TIndexDefinition>([&](TIndexDefinition* again) {
            nameShownAgain = again->IndexNameEdit()->text();
            for (int i = 0; i < again->IndexFieldsList()->count(); ++i) keysShownAgain << again->IndexFieldsList()->item(i)->text();
            again->IndexNameEdit()->setText("ByAge");
            again->OkBtn()->click();
        });
        DefineKey(d, "tmpAge", "Age");
    });
    designer.NewIndexActExecute();
    QCOMPARE(dialogs.Messages(),
             QStringList({"Error: Index tmpAge already exists or contains invalid characters. Index name must not start with "
                          "sys or tmp."}));
    QCOMPARE(nameShownAgain, QStringLiteral("tmpAge"));
    QCOMPARE(keysShownAgain, QStringList({"1. Age, ascending"}));
    QCOMPARE(IndexRows(designer), QStringList({"ByCity|City||29|4096|100000", "ByAge|Age||||"}));
    QCOMPARE(designer.IndexListView()->currentItem()->text(0), QStringLiteral("ByAge"));
    QVERIFY(designer.Core().DirtyIndexes());
    QStringList rows;
    ApplyConfirmed(designer, &rows);
    QCOMPARE(rows, QStringList({"|Index ByAge added"}));
    people.table->ReadDefinitions();
    QVERIFY(people.table->IndexDefs().Find("ByAge"));
    // Applied, the index has its figures.
    QCOMPARE(IndexRows(designer), QStringList({"ByCity|City||29|4096|100000", "ByAge|Age||12|4096|100000"}));

    // A cancelled dialog adds nothing.
    WhenShown<TIndexDefinition>([](TIndexDefinition* d) { d->CancelBtn()->click(); });
    designer.NewIndexActExecute();
    QCOMPARE(designer.IndexListView()->topLevelItemCount(), 2);
    QVERIFY(!designer.Core().DirtyIndexes());
    QVERIFY(dialogs.Failures().isEmpty());
}

void TstIndexPage::editAndDelete() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    SelectIndex(designer, "ByCity");
    WhenShown<TIndexDefinition>([](TIndexDefinition* d) {
        QCOMPARE(d->IndexNameEdit()->text(), QStringLiteral("ByCity"));
        QCOMPARE(d->IndexFieldsList()->item(0)->text(), QStringLiteral("1. City, ascending"));
        QVERIFY(!d->FulltextRadio()->isEnabled()); // a standard index stays one
        d->IndexFieldsList()->setCurrentRow(0);
        d->DescendingRadio()->click();
        d->OkBtn()->click();
    });
    designer.EditIndexActExecute();
    QCOMPARE(IndexRows(designer), QStringList({"ByCity|-City||||"}));
    QCOMPARE(designer.IndexListView()->currentItem()->text(0), QStringLiteral("ByCity"));
    QStringList rows;
    ApplyConfirmed(designer, &rows);
    QCOMPARE(rows, QStringList({"|Index ByCity: Descending fields"}));
    people.table->ReadDefinitions();
    QCOMPARE(people.table->IndexDefs().Find("ByCity")->DescFields, QStringLiteral("City"));
    QCOMPARE(people.Column("SELECT Name FROM People ORDER BY City DESC, Name"), QStringList({"Bob", "Ann", "Cid"}));

    // A double click edits too; an unchanged dialog changes nothing.
    QTreeWidget* list = designer.IndexListView();
    int shown = 0;
    WhenShown<TIndexDefinition>([&](TIndexDefinition* d) {
        ++shown;
        d->OkBtn()->click();
    });
    const QPoint at = list->visualItemRect(list->topLevelItem(0)).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, at);
    QCOMPARE(shown, 1);
    QVERIFY(!designer.Core().DirtyIndexes());

    // Delete: no question, no selection afterwards.
    SelectIndex(designer, "ByCity");
    designer.DeleteIndexActExecute();
    QCOMPARE(list->topLevelItemCount(), 0);
    QVERIFY(!designer.EditIndexAct()->isEnabled());
    rows.clear();
    ApplyConfirmed(designer, &rows);
    QCOMPARE(rows, QStringList({"|Index ByCity deleted"}));
    people.table->ReadDefinitions();
    QCOMPARE(people.table->IndexDefs().Count(), 0);
    QVERIFY(dialogs.Failures().isEmpty());
    QVERIFY(dialogs.Messages().isEmpty());
}

void TstIndexPage::structureEditsRefuseIndexEdits() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    designer.Core().AddColumn(4, "Extra");
    designer.Core().UpdateDirtyFlags();
    QVERIFY(designer.Core().DirtyStructure());
    dialogs->Press(QMessageBox::Ok).Press(QMessageBox::Ok);
    designer.NewIndexActExecute(); // no dialog: refused first
    SelectIndex(designer, "ByCity");
    designer.DeleteIndexActExecute();
    const QString refused = "Error: Table structure has changed. Apply changes before modifiying indexes.";
    QCOMPARE(dialogs.Messages(), QStringList({refused, refused}));
    QCOMPARE(designer.IndexListView()->topLevelItemCount(), 1);
}

void TstIndexPage::fulltextWithNewEncryptedDictionary() {
    QTemporaryDir dir;
    const QString location = dir.filePath("db");
    {
        TOstDatabase db;
        db.SetLocation(location);
        db.CreateDatabase();
    }
    TOstTable docs;
    docs.SetDatabaseName(location);
    docs.SetTableName("Docs");
    docs.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
    docs.GetFieldDefsOst().Add("Title", dtString, 60);
    docs.GetFieldDefsOst().Add("Body", dtMemo, 0);
    docs.CreateTable();
    docs.Open();
    docs.AppendRecord({QVariant(), "Tea", "Green tea and black tea"});
    docs.AppendRecord({QVariant(), "Coffee", "Coffee with cake"});
    docs.AppendRecord({QVariant(), "Cake", "Tea with cake"});

    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(&docs);
    WhenShown<TIndexDefinition>([](TIndexDefinition* d) {
        d->IndexNameEdit()->setText("Words");
        d->FulltextRadio()->click();
        QListWidget* columns = d->FulltextColumnsList();
        for (int i = 0; i < columns->count(); ++i)
            if (columns->item(i)->text() != "ID") columns->item(i)->setCheckState(Qt::Checked);
        d->MinRelevanceSpinEdit()->setValue(0);
        d->DictionaryComboBox()->setCurrentText("(New Dictionary)");
        d->DicTableNameEdit()->setText("DocsWords");
        d->DicEncryptionTypComboBox()->setCurrentText("Rijndael/AES");
        WhenShown<TOstPasswordChangeDialog>([](TOstPasswordChangeDialog* p) {
            EnterPassword(p, "lexicon1");
        });
        d->DicEncryptionkeyBtn()->click();
        d->OkBtn()->click();
    });
    designer.NewIndexActExecute();
    QCOMPARE(IndexRows(designer), QStringList({"Words|Title; Body||||"}));
    QCOMPARE(designer.Core().Dictionaries().Count(), 1);
    QStringList rows;
    ApplyConfirmed(designer, &rows);
    QCOMPARE(rows, QStringList({"|Fulltext index Words added"}));
    QVERIFY2(dialogs.Messages().isEmpty(), qPrintable(dialogs.Messages().join(u'\n')));
    QCOMPARE(designer.Core().Dictionaries().Count(), 0); // made, and the pending entry gone with the apply

    // The dictionary: an encrypted table of its own, holding the words.
    TOstTable dictionary;
    dictionary.SetDatabaseName(location);
    dictionary.SetTableName("DocsWords");
    dictionary.SetEncryptionPassword("lexicon1");
    dictionary.ReadDefinitions();
    QCOMPARE(dictionary.GetEncryptionMethod(), int(emRijndael));
    QCOMPARE(dictionary.GetFieldDefsOst()[0]->GetSize(), 20);
    QCOMPARE(ColumnOf(location, "SELECT Keyword || ':' || Relevance FROM DocsWords WHERE Keyword IN ('tea', 'cake') ORDER BY 1"),
             QStringList({"cake:2", "tea:2"}));
    QFile raw(QDir(location).filePath("DocsWords.dat"));
    QVERIFY(raw.open(QIODevice::ReadOnly));
    QVERIFY(!raw.readAll().contains("coffee")); // no word readable in the file
    // Found by a search; a new row is kept in the dictionary at once.
    QCOMPARE(ColumnOf(location, "SELECT RecordId FROM ostra_search('Docs', 'tea cake')"), QStringList({"3"}));
    // And by the command line, given the dictionary's password.
    QProcess ostra;
    ostra.start(OSTRA_CLI_PATH, {"--password=lexicon1", "search", location, "Docs", "tea cake", "--csv"});
    ostra.closeWriteChannel();
    QVERIFY(ostra.waitForFinished(60000));
    const QString found = QString::fromUtf8(ostra.readAllStandardOutput());
    QVERIFY2(ostra.exitCode() == 0, qPrintable(found + QString::fromUtf8(ostra.readAllStandardError())));
    QVERIFY2(found.contains("Tea with cake") && !found.contains("Coffee with cake"), qPrintable(found));
    docs.AppendRecord({QVariant(), "More", "tea again"});
    QCOMPARE(ColumnOf(location, "SELECT Relevance FROM DocsWords WHERE Keyword = 'tea'"), QStringList({"3"}));
    docs.ReadDefinitions();
    QCOMPARE(docs.FulltextIndexDefs()[0]->Dictionary, QStringLiteral("DocsWords"));
}

void TstIndexPage::noInputWhileIndexesAreApplied() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    QVERIFY(ShowActive(designer));
    designer.Core().WorkingTable()->IndexDefs().Add("ByAge", "Age", TIndexOptions());
    designer.Core().UpdateDirtyFlags();
    // What the form takes while the engine reports progress.
    QStringList during;
    connect(designer.ProgressBar(), &QProgressBar::valueChanged, &designer, [&](int value) {
        if (value <= 0) return;
        during << QStringLiteral("%1 %2 %3").arg(designer.ApplyBtn()->isEnabled()).arg(designer.CloseBtn()->isEnabled())
                      .arg(designer.DesignerPageControl()->isEnabled());
        // A second Apply meanwhile starts nothing.
        designer.ApplyBtnClick();
    });
    int shown = 0;
    WhenShown<TTableStructureDifferenceDlg>([&](TTableStructureDifferenceDlg* dlg) {
        ++shown;
        dlg->OkButton()->click();
    }, QStringLiteral("Modifications of Table Structure"));
    QTest::mouseClick(designer.ApplyBtn(), Qt::LeftButton);
    QVERIFY(!during.isEmpty());
    for (const QString& state : during) QCOMPARE(state, QStringLiteral("0 0 0"));
    QCOMPARE(shown, 1);
    QVERIFY(designer.ApplyBtn()->isEnabled() && designer.CloseBtn()->isEnabled() && designer.DesignerPageControl()->isEnabled());
    people.table->ReadDefinitions();
    QVERIFY(people.table->IndexDefs().Find("ByAge"));
}

void TstIndexPage::columnIndexBoxes() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    auto* createIndex = designer.ColumnPropertyEditor()->findChild<QCheckBox*>("CreateIndexCheckBox");
    auto* fulltext = designer.ColumnPropertyEditor()->findChild<QCheckBox*>("FulltextIndexCheckBox");
    QVERIFY(createIndex && fulltext);
    designer.ColumnListView()->setCurrentItem(designer.ColumnListView()->topLevelItem(2)); // City
    QVERIFY(createIndex->isChecked()); // ByCity is its own index
    createIndex->click();
    QVERIFY(!createIndex->isChecked());
    QCOMPARE(designer.IndexListView()->topLevelItemCount(), 0);
    createIndex->click();
    QVERIFY(createIndex->isChecked());
    QCOMPARE(IndexRows(designer), QStringList({"City|City||||"}));
    QVERIFY(!fulltext->isChecked());
    fulltext->click();
    QCOMPARE(IndexRows(designer).last(), QStringLiteral("Fulltext|City||||"));
    designer.ColumnListView()->setCurrentItem(designer.ColumnListView()->topLevelItem(1)); // Name
    QVERIFY(!fulltext->isChecked() && !createIndex->isChecked());
    fulltext->click();
    QCOMPARE(IndexRows(designer).last(), QStringLiteral("Fulltext|City; Name||||"));
    designer.ColumnListView()->setCurrentItem(designer.ColumnListView()->topLevelItem(2));
    QVERIFY(fulltext->isChecked());
    QStringList rows;
    ApplyConfirmed(designer, &rows);
    QCOMPARE(rows, QStringList({"|Index ByCity deleted", "|Index City added", "|Fulltext index Fulltext added"}));
    QCOMPARE(people.Column("SELECT Keyword FROM PeopleWords ORDER BY Keyword"), QStringList({"ann", "bob", "cid", "oslo", "rome"}));
    // Off again: the column leaves the index; the last one takes it away.
    designer.ColumnListView()->setCurrentItem(designer.ColumnListView()->topLevelItem(2));
    fulltext->click();
    designer.ColumnListView()->setCurrentItem(designer.ColumnListView()->topLevelItem(1));
    fulltext->click();
    QCOMPARE(IndexRows(designer), QStringList({"City|City||29|4096|100000"}));
    QVERIFY(dialogs.Messages().isEmpty());
}

void TstIndexPage::screenshots() {
    const QString folder = qEnvironmentVariable("OSTRA_SCREENSHOTS");
    if (folder.isEmpty()) QSKIP("OSTRA_SCREENSHOTS names no folder");
    QVERIFY(QDir().mkpath(folder));
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
    defs.Add("City", dtString, 30);
    defs.Add("Country", dtString, 30);
    defs.Add("Phone", dtString, 24);
    defs.Add("Notes", dtMemo, 0);
    defs.Add("Remarks", dtWideMemo, 0);
    customers.IndexDefs().Add("sys_primary", "CustomerID", ixPrimary | ixUnique);
    customers.IndexDefs().Add("ByCompany", "Company", TIndexOptions());
    TIndexDef* byCountry = customers.IndexDefs().Add("ByCountryCity", "Country;City", TIndexOptions());
    byCountry->DescFields = "City";
    customers.IndexDefs().Add("ByPhone", "Phone", ixUnique);
    customers.IndexDefs().Add("ByCompanyUpper", "UPPER(Company)", ixExpression);
    customers.SetCapacity(250000);
    customers.CreateTable();
    customers.AddFulltextIndex2("Words", "Company;Notes", "CustomerWords", QString());
    customers.Open();
    for (int i = 0; i < 200; ++i)
        customers.AppendRecord({QVariant(), QStringLiteral("Company %1").arg(i), "Contact", "Hamburg", "Germany",
                                QStringLiteral("+49 40 %1").arg(1000 + i), "a customer of long standing"});

    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(&customers);
    designer.resize(960, 640);
    QVERIFY(ShowActive(designer));
    designer.DesignerPageControl()->setCurrentWidget(designer.IndexesPage());
    SelectIndex(designer, "ByCountryCity");
    QTest::qWait(50);
    QVERIFY(designer.grab().save(QDir(folder).filePath("designer-indexes.png")));

    // The dialog on each kind, as Edit and Add show it.
    auto shoot = [&](const QString& file, const std::function<void(TIndexDefinition*)>& fill) {
        WhenShown<TIndexDefinition>([folder, file, fill](TIndexDefinition* d) {
            fill(d);
            QTest::qWait(50);
            QVERIFY(d->grab().save(QDir(folder).filePath(file)));
            d->CancelBtn()->click();
        });
    };
    shoot("index-hierarchical.png", [](TIndexDefinition* d) { d->PageControl()->setCurrentWidget(d->HierarchicalPage()); });
    designer.EditIndexActExecute();
    shoot("index-calculated.png", [](TIndexDefinition* d) {
        d->IndexNameEdit()->setText("ByCompanyCountry");
        d->CalculatedRadio()->click();
        d->ExpressionEdit()->setText("UPPER(Company) || ', ' || Country");
        d->PageControl()->setCurrentWidget(d->CalculatedPage());
    });
    designer.NewIndexActExecute();
    shoot("index-fulltext.png", [](TIndexDefinition* d) {
        d->IndexNameEdit()->setText("Remarks");
        d->FulltextRadio()->click();
        QListWidget* columns = d->FulltextColumnsList();
        for (int i = 0; i < columns->count(); ++i)
            if (columns->item(i)->text() == "Remarks") columns->item(i)->setCheckState(Qt::Checked);
        d->DictionaryComboBox()->setCurrentText("(New Dictionary)");
        d->DicTableNameEdit()->setText("RemarkWords");
        d->MaxKeywordLengthSpinEdit()->setValue(40);
        d->DicEncryptionTypComboBox()->setCurrentText("Rijndael/AES");
        d->PageControl()->setCurrentWidget(d->FulltextPage());
    });
    designer.NewIndexActExecute();
    QVERIFY(dialogs.Failures().isEmpty());
}

QTEST_MAIN(TstIndexPage)
#include "tst_indexpage.moc"
