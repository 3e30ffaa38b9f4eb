// The table designer's core on real tables: what opening reads, the change
// list for each kind of edit, the edit guard, the primary key, and applying
// (rename without restructure, restructure keeping the data, new tables,
// engine errors) with the view's messages.
#include "designer_helper.h"

#include "designer/core/ostindexstrings.h"
#include "engine/ostquery.h"

#include <QtTest>

class TstDesignerCore : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void openingReadsWhatIsStored();
    void renameAloneDoesNotRestructure();
    void columnEditsRestructureAndKeepTheData();
    void editGuardKeepsStructureAndIndexesApart();
    void primaryKeyFollowsTheColumns();
    void tablePropertiesAndCollationReset();
    void retypeEncryptAndIndexAColumn();
    void fulltextIndexKeepsItsDefinition();
    void invalidIndicationSelectsTheAutoIncColumns();
    void newTableIsCreatedOnApply();
    void newTableReplacesOnlyTheTableAgreedTo();
    void nothingToApplyAndClosing();
    void queriesAreShownReadOnly();
};

// Applies and reports what the designer showed when it did not apply.
#define APPLIED(core, view) QVERIFY2((core).Apply(), qPrintable((view).shown.join(u'\n')))

namespace {

QStringList Texts(const TModifications& list) {
    QStringList texts;
    for (const TModification& m : list) texts.append(m.GetColumn() + u' ' + m.GetText());
    return texts;
}

} // namespace

void TstDesignerCore::openingReadsWhatIsStored() {
    PeopleTable people;
    people.table->SetIndexName("ByCity");
    // The component holds something else than the file: the designer starts from the file.
    people.table->GetFieldDefsOst().Clear();
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(people.table.get());
    QCOMPARE(view.reloads, 1);
    QCOMPARE(core.Columns().Count(), 4);
    QCOMPARE(core.Columns()[1]->GetName(), QStringLiteral("Name"));
    QCOMPARE(core.Columns()[1]->GetFieldNo(), 2);
    QCOMPARE(core.WorkingTable()->IndexDefs().Count(), 1);
    QCOMPARE(core.SavedIndexName(), QStringLiteral("ByCity"));
    QCOMPARE(people.table->GetIndexName(), QString());
    QVERIFY(core.RefreshModificationsList().IsEmpty());
    QVERIFY(!core.NeedRestructure());
    QVERIFY(core.KeyFields().isEmpty());
    QVERIFY_THROWS_EXCEPTION(EOstTableDesigner, core.SetNewTable(true));
    core.RestoreIndexName();
    QCOMPARE(people.table->GetIndexName(), QStringLiteral("ByCity"));
}

void TstDesignerCore::renameAloneDoesNotRestructure() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    core.WorkingTable()->SetTableName("Persons");
    QCOMPARE(Texts(core.RefreshModificationsList()), QStringList({" Table renamend to Persons"}));
    QVERIFY(!core.NeedRestructure());
    core.UpdateDirtyFlags();
    QVERIFY(!core.DirtyStructure() && !core.DirtyIndexes()); // table entries dirty neither

    APPLIED(core, view);
    QCOMPARE(view.confirmed, QStringList({"\tTable renamend to Persons"}));
    QVERIFY(!view.shown.join(u'\n').contains("Restructuring"));
    QCOMPARE(people.table->GetTableName(), QStringLiteral("Persons"));
    QVERIFY(people.table->Active());
    QCOMPARE(people.Column("SELECT Name FROM Persons ORDER BY Name"), QStringList({"Ann", "Bob", "Cid"}));
    QVERIFY(core.ChangesApplied());
    QVERIFY(core.RefreshModificationsList().IsEmpty());
}

void TstDesignerCore::columnEditsRestructureAndKeepTheData() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    TOstFieldDefs& cols = core.Columns();
    // Renamed and resized at once: only the first difference is listed.
    cols[2]->SetName("Town");
    cols[2]->SetSize(40);
    cols[1]->SetSize(10);
    TOstFieldDef* email = core.AddColumn(4);
    QCOMPARE(email->GetName(), QStringLiteral("Column5"));
    email->SetName("Email");
    QVERIFY(email->GetNullable());
    core.DeleteColumn(3); // Age
    QCOMPARE(core.MoveColumn(2, -1), 1); // Town before Name
    QCOMPARE(core.MoveColumn(0, -1), 0); // nothing above the first
    QCOMPARE(Texts(core.RefreshModificationsList()),
             QStringList({"3 Name truncated.", "2 Town renamed.", "4 Age deleted.", "4 Email added."}));
    QVERIFY(core.NeedRestructure());
    core.UpdateDirtyFlags();
    QVERIFY(core.DirtyStructure());
    QVERIFY(!view.allowIndex);

    // Declining the list changes nothing.
    view.confirm = false;
    QVERIFY(!core.Apply());
    QCOMPARE(people.Column("SELECT City FROM People ORDER BY City"), QStringList({"Oslo", "Oslo", "Rome"}));
    view.confirm = true;
    APPLIED(core, view);
    QVERIFY(view.progress.contains(100));
    // The deliberate last status text after a restructure that went well.
    QCOMPARE(view.Last(), QStringLiteral("status: Restructuring Error"));
    QVERIFY(view.shown.contains("status: Restructuring Done"));
    QCOMPARE(people.Column("SELECT Town || '/' || Name FROM People ORDER BY Name"),
             QStringList({"Oslo/Ann", "Rome/Bob", "Oslo/Cid"}));
    QCOMPARE(people.table->GetFieldDefsOst().Count(), 4);
    QCOMPARE(people.table->GetFieldDefsOst()[1]->GetName(), QStringLiteral("Town"));
    QVERIFY(people.table->Active());
    // The designer shows the applied state, clean.
    QCOMPARE(core.Columns()[1]->GetName(), QStringLiteral("Town"));
    QVERIFY(core.Columns()[3]->GetFieldNo() != 0);
    QVERIFY(core.RefreshModificationsList().IsEmpty());
    QVERIFY(!core.DirtyStructure());
}

void TstDesignerCore::editGuardKeepsStructureAndIndexesApart() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    core.AddColumn(0);
    core.UpdateDirtyFlags();
    QVERIFY(core.AllowEditStructure());
    QVERIFY(!core.AllowEditIndexes());
    QCOMPARE(view.Last(), QStringLiteral("error: Table structure has changed. Apply changes before modifiying indexes."));
    QVERIFY(view.allowField && !view.allowIndex);

    core.DeleteColumn(0);
    core.UpdateDirtyFlags();
    QVERIFY(!core.DirtyStructure());
    core.WorkingTable()->IndexDefs().Add("ByName", "Name", ixUnique);
    core.UpdateDirtyFlags();
    QVERIFY(core.DirtyIndexes());
    QVERIFY(!core.AllowEditStructure());
    QCOMPARE(view.Last(), QStringLiteral("error: Indexes has been modified. Apply changes before modifiying table structure."));
    QVERIFY(!view.allowField && view.allowIndex);
    QCOMPARE(Texts(core.RefreshModificationsList()), QStringList({" Index ByName added"}));
    QVERIFY(!core.NeedRestructure());
    // Index changes alone: no restructure, the index is there afterwards.
    APPLIED(core, view);
    QVERIFY(!view.shown.contains("status: Restructuring ..."));
    QVERIFY(view.shown.contains("status: Creating index ByName ..."));
    QVERIFY(people.table->IndexDefs().Find("ByName"));

    // A rename of the index only in letter case shows as a rename.
    core.WorkingTable()->IndexDefs().Find("ByName")->Name = "BYNAME";
    QCOMPARE(Texts(core.RefreshModificationsList()), QStringList({" Index ByName renamed to BYNAME"}));
}

void TstDesignerCore::primaryKeyFollowsTheColumns() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    TOstFieldDefs& cols = core.Columns();
    core.ToggleKeyField(cols[1]); // Name
    core.ToggleKeyField(cols[0]); // ID goes before it: the key keeps table order
    QCOMPARE(core.KeyFields(), QStringList({"ID", "Name"}));
    const TIndexDef* primary = TOstTableDesignerCore::GetPrimaryIndex(*core.WorkingTable());
    QVERIFY(primary);
    QCOMPARE(primary->Name, QStringLiteral("sys_primary"));
    QCOMPARE(primary->Fields, QStringLiteral("ID;Name"));
    // A changed key alone counts as a column change and needs a restructure.
    QCOMPARE(Texts(core.RefreshModificationsList()), QStringList({" Primary key modified"}));
    QVERIFY(core.NeedRestructure());
    core.ColumnRenamed("Name", "FullName");
    cols[1]->SetName("FullName");
    QCOMPARE(core.KeyFields(), QStringList({"ID", "FullName"}));
    APPLIED(core, view);
    QCOMPARE(GetIndexDefString(*TOstTableDesignerCore::GetPrimaryIndex(*people.table)), QStringLiteral("ID; FullName"));
    QCOMPARE(core.StoredKeyFields(), QStringList({"ID", "FullName"}));

    // Taking the last column out of the key drops the primary index; so does deleting a key column.
    core.ToggleKeyField(core.Columns()[0]);
    core.DeleteColumn(1);
    core.Columns()[0]->SetSpec("\"City\""); // the record-id indication named the deleted column
    QVERIFY(core.KeyFields().isEmpty());
    QVERIFY(!TOstTableDesignerCore::GetPrimaryIndex(*core.WorkingTable()));
    APPLIED(core, view);
    QVERIFY(!TOstTableDesignerCore::GetPrimaryIndex(*people.table));
    QCOMPARE(people.Column("SELECT City FROM People ORDER BY ID"), QStringList({"Oslo", "Rome", "Oslo"}));
}

void TstDesignerCore::tablePropertiesAndCollationReset() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    core.WorkingTable()->SetCapacity(250000);
    core.WorkingTable()->SetCollationName("de_DE_ci_ai");
    core.Columns()[1]->SetSpec("Ostra"); // an empty collation and the default are the same
    QCOMPARE(Texts(core.RefreshModificationsList()),
             QStringList({" Capacity altered from 100,000 to 250,000", " Collation altered from \"Ostra\" to \"de_DE_ci_ai\""}));
    QVERIFY(core.NeedRestructure());
    APPLIED(core, view);
    // What the file holds now, read by another component.
    auto stored = people.Open();
    stored->ReadDefinitions();
    QCOMPARE(stored->GetCollationName(), QStringLiteral("de_DE_ci_ai"));
    QCOMPARE(stored->GetCapacity(), 250000);
    // Sorted by the new collation, case aside.
    QCOMPARE(people.Column("SELECT Name FROM People ORDER BY Name"), QStringList({"Ann", "Bob", "Cid"}));
    // Dropping to level 5 (collations back to the default) is read back in tst_designerapply.
}

void TstDesignerCore::retypeEncryptAndIndexAColumn() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    TOstFieldDefs& cols = core.Columns();
    cols[3]->SetDataTypeOst(dtString);
    cols[3]->SetSize(6);
    core.WorkingTable()->SetEncryptionMethod(emRijndael);
    core.SetEncryptionKey("secret;2");
    // "Create Index": City has its own index already, Name gets one named after it.
    QVERIFY(core.ColumnHasOwnIndex(cols[2]));
    QVERIFY(!core.AddColumnIndex(cols[2]));
    QVERIFY(!core.ColumnHasOwnIndex(cols[1]));
    const TIndexDef* byName = core.AddColumnIndex(cols[1]);
    QVERIFY(byName);
    QCOMPARE(byName->Name, QStringLiteral("Name"));
    QVERIFY(!core.AddColumnIndex(cols[1]));
    QCOMPARE(Texts(core.RefreshModificationsList()),
             QStringList({" Protection/encryption of table changed.", "4 Age column type changed .", " Index Name added"}));
    APPLIED(core, view);
    QCOMPARE(people.table->GetEncryptionMethod(), int(emRijndael));
    QCOMPARE(people.table->GetFieldDefsOst()[3]->GetDataTypeOst(), int(dtString));
    QVERIFY(people.table->IndexDefs().Find("Name"));
    QCOMPARE(people.Column("SELECT Age FROM People ORDER BY Name"), QStringList({"31", "45", "27"}));
    // The designer knows the key it was given: reopened, it lists nothing.
    QVERIFY(core.RefreshModificationsList().IsEmpty());
}

void TstDesignerCore::fulltextIndexKeepsItsDefinition() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    TOstFulltextIndexDef* ft = core.WorkingTable()->FulltextIndexDefs().Add("Places.fti", "Name;City", "PlaceWords");
    ft->MinRelevance = 2;
    QCOMPARE(Texts(core.RefreshModificationsList()), QStringList({" Fulltext index Places.fti added"}));
    APPLIED(core, view);
    QVERIFY(view.shown.contains("status: Creating index Places.fti ..."));
    const int i = people.table->FulltextIndexDefs().IndexOf("Places.fti");
    QVERIFY(i >= 0);
    QCOMPARE(people.table->FulltextIndexDefs()[i]->MinRelevance, 2);
    QVERIFY(core.RefreshModificationsList().IsEmpty());
    // The words are in the dictionary the index was given.
    QVERIFY(people.Column("SELECT Keyword FROM PlaceWords ORDER BY Keyword").contains("oslo"));
}

void TstDesignerCore::invalidIndicationSelectsTheAutoIncColumns() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    core.Columns()[0]->SetSpec("\"NoSuchColumn\"");
    core.Columns()[2]->SetSize(25);
    QVERIFY(!core.Apply());
    QVERIFY2(view.shown.contains("error: " + DesignerText::InvalidIndication()), qPrintable(view.shown.join('\n')));
    QCOMPARE(view.selected, QList<int>({0}));
    // Nothing was lost on either side: the table as it was, the edits still there.
    QCOMPARE(people.table->GetFieldDefsOst()[2]->GetSize(), 20);
    QVERIFY(people.table->Active());
    QCOMPARE(core.Columns()[2]->GetSize(), 25);
    QCOMPARE(people.Column("SELECT count(*) FROM People"), QStringList({"3"}));
}

void TstDesignerCore::newTableIsCreatedOnApply() {
    PeopleTable people;
    TOstTable fresh;
    fresh.SetDatabaseName(people.location);
    fresh.SetTableName("Orders");
    fresh.GetFieldDefsOst().Add("Stale", dtInteger, 0); // a new table starts empty
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetNewTable(true);
    core.SetOstDataset(&fresh);
    QCOMPARE(core.Columns().Count(), 0);
    QCOMPARE(core.AddColumn(0)->GetName(), QStringLiteral("Column1"));
    core.AddColumn(0);
    QCOMPARE(core.Columns()[0]->GetName(), QStringLiteral("Column2"));
    core.Columns()[1]->SetDataTypeOst(dtLink);
    core.ToggleKeyField(core.Columns()[0]);
    core.WorkingTable()->IndexDefs().Add("ByOther", "Column1", TIndexOptions());
    core.UpdateDirtyFlags();
    QVERIFY(core.AllowEditStructure() && core.AllowEditIndexes()); // a new table takes every edit at once

    // Encryption asks for the key; no key, no table.
    core.WorkingTable()->SetEncryptionMethod(emProtection);
    QVERIFY(!core.Apply());
    QCOMPARE(view.Last(), QStringLiteral("key for 2"));
    core.WorkingTable()->SetEncryptionMethod(emNone);
    QVERIFY(!core.Apply());
    QCOMPARE(view.Last(), QStringLiteral("error: Must define table name for linked table."));
    core.Columns()[1]->SetSpec("People");
    APPLIED(core, view);
    QVERIFY(!core.NewTable());
    QVERIFY(fresh.Active());
    QCOMPARE(fresh.GetFieldDefsOst().Count(), 2);
    QVERIFY(fresh.IndexDefs().Find("ByOther"));
    QCOMPARE(core.StoredKeyFields(), QStringList({"Column2"}));

    TOstTable empty;
    empty.SetDatabaseName(people.location);
    empty.SetTableName("Nothing");
    TOstTableDesignerCore none(&view);
    none.SetNewTable(true);
    none.SetOstDataset(&empty);
    none.WorkingTable()->SetCapacity(5000); // a difference, but no columns
    QVERIFY(!none.Apply());
    QCOMPARE(view.Last(), QStringLiteral("error: Table must contain at least one column"));
    none.WorkingTable()->SetTableName(" ");
    QVERIFY(!none.Apply());
    QCOMPARE(view.Last(), QStringLiteral("error: Missing table name"));
}

// The user agreed to overwrite People: the new table replaces it on Apply.
// Renamed in the designer to another stored table, it overwrites nothing.
void TstDesignerCore::newTableReplacesOnlyTheTableAgreedTo() {
    PeopleTable people;
    people.table->Close(); // nobody else holds the tables
    {
        TOstTable other;
        other.SetDatabaseName(people.location);
        other.SetTableName("Visits");
        other.GetFieldDefsOst().Add("When", dtDateTime, 0);
        other.CreateTable();
    }
    TOstTable fresh;
    fresh.SetDatabaseName(people.location);
    fresh.SetTableName("Visits");
    TRecordingView view;
    TOstTableDesignerCore renamed(&view);
    renamed.SetNewTable(true);
    renamed.SetReplaceExisting(true);
    renamed.SetOstDataset(&fresh);
    renamed.AddColumn(0);
    renamed.WorkingTable()->SetTableName("People");
    renamed.UpdateDirtyFlags();
    QVERIFY(!renamed.Apply());
    QVERIFY2(view.Last().contains("exists"), qPrintable(view.Last()));
    QCOMPARE(people.Column("SELECT count(*) FROM People"), QStringList({"3"}));

    TOstTable again;
    again.SetDatabaseName(people.location);
    again.SetTableName("People");
    TOstTableDesignerCore replacing(&view);
    replacing.SetNewTable(true);
    replacing.SetReplaceExisting(true);
    replacing.SetOstDataset(&again);
    replacing.AddColumn(0);
    replacing.UpdateDirtyFlags();
    APPLIED(replacing, view);
    QVERIFY(again.Active());
    QCOMPARE(again.Fields().Count(), 1);
    QCOMPARE(again.RecordCount(), 0);
}

void TstDesignerCore::nothingToApplyAndClosing() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    QVERIFY(!core.Apply());
    QCOMPARE(view.Last(), "info: " + DesignerText::NoChanges());
    QVERIFY(core.CloseQuery()); // nothing to lose, no question
    core.Columns()[3]->SetNullable(false);
    QCOMPARE(Texts(core.RefreshModificationsList()), QStringList({"4 Age nullable property altered."}));
    view.answer = ITableDesignerView::No;
    QVERIFY(!core.CloseQuery());
    QCOMPARE(view.Last(), "question: " + DesignerText::CancelChanges());
    view.answer = ITableDesignerView::Yes;
    QVERIFY(core.CloseQuery());
}

void TstDesignerCore::queriesAreShownReadOnly() {
    PeopleTable people;
    TOstQuery query;
    query.SetName("Adults");
    query.SetDatabaseName(people.location);
    query.SetSQL("SELECT Name, Age FROM People WHERE Age > 30");
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(&query);
    QVERIFY(core.ReadOnlyView());
    QCOMPARE(core.Columns().Count(), 2);
    core.Columns()[0]->SetName("Other");
    QVERIFY(core.RefreshModificationsList().IsEmpty());
    QVERIFY(core.CloseQuery());
    QVERIFY(!core.Apply());
}

QTEST_GUILESS_MAIN(TstDesignerCore)
#include "tst_designercore.moc"
