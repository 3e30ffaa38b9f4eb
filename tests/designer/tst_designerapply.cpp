// Applying the designer's edits to real tables and reading the file back:
// a type change keeps what still applies, a rename stays done when the
// restructure after it fails, a refused rename leaves the table open, the
// indication offered to a new record id, the password asked when a method
// is chosen, the apply order with the engine's answers (indexes dropped and
// added in the file, collations cleared when the level drops), and what an
// apply will cost, said before it is made.
#include "designer_helper.h"

#include "designer/core/ostcolumnpropscore.h"
#include "designer/core/ostindexstrings.h"
#include "engine/ostquery.h"

#include <QtTest>

class TstDesignerApply : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void typeChangeKeepsNotNull();
    void typeChangeOnALevelThreeTable();
    void refusedRenameLeavesTheTableOpen();
    void failedRestructureKeepsTheRename();
    void indicationOfferedToANewRecordId();
    void choosingAnEncryptingMethodAsksForThePassword();
    void indexChangesReachTheFile();
    void changedKeyReachesTheFile();
    void levelBelowSixClearsTheCollations();
    void costOfApplyingForATableOfAModule();
};

#define APPLIED(core, view) QVERIFY2((core).Apply(), qPrintable((view).shown.join(u'\n')))

namespace {

// The column property editor on the designer's working columns, as the form wires it.
struct TEditing {
    TRecordingView view;
    TOstTableDesignerCore core{&view};
    TColumnPropertyEditorCore editor;
    explicit TEditing(TOstTable* table) {
        core.SetOstDataset(table);
        editor.SetTableLevel(core.WorkingTable()->GetTableLevel());
        editor.SetFieldDefList(&core.Columns());
        editor.OnIndicationRequest = [this](QString& indication) { indication = core.DefaultIndication(); };
    }
    TOstFieldDef* Retype(int position, int type) {
        editor.SetFieldDef(core.Columns()[position]);
        editor.DataTypeComboBoxChange(GetDataTypeName(type));
        return core.Columns()[position];
    }
};

// Whether the table takes a row with a null in column.
bool TakesNull(const PeopleTable& people, const QString& table, const QString& column, const QString& others = {}) {
    TOstQuery q;
    q.SetDatabaseName(people.location);
    q.SetSQL(QStringLiteral("INSERT INTO %1(%2%3) VALUES (NULL%4)")
                 .arg(table, column, others.isEmpty() ? QString() : u',' + others,
                      others.isEmpty() ? QString() : QStringLiteral(",'x'")));
    try {
        q.ExecSQL();
        return true;
    } catch (const EOstraError&) {
        return false;
    }
}

std::unique_ptr<TOstTable> CreateTable(const QString& location, const QString& name, int level,
                                       const std::function<void(TOstFieldDefs&)>& columns) {
    auto t = std::make_unique<TOstTable>();
    t->SetDatabaseName(location);
    t->SetTableName(name);
    t->SetTableLevel(level);
    columns(t->GetFieldDefsOst());
    t->CreateTable();
    t->Open();
    return t;
}

} // namespace

void TstDesignerApply::typeChangeKeepsNotNull() {
    PeopleTable people;
    TEditing e(people.table.get());
    QCOMPARE(e.core.WorkingTable()->GetTableLevel(), 6);
    TOstFieldDef* name = e.Retype(1, dtWideString);
    QCOMPARE(name->GetName(), QStringLiteral("Name"));
    QVERIFY(!name->GetNullable());
    QVERIFY(!e.editor.Controls().Nullable);
    QCOMPARE(name->GetSize(), 30);
    QCOMPARE(name->GetFieldNo(), 2);
    APPLIED(e.core, e.view);
    const TOstFieldDef* stored = people.table->GetFieldDefsOst()[1];
    QCOMPARE(stored->GetDataTypeOst(), int(dtWideString));
    QVERIFY(!stored->GetNullable());
    QVERIFY(!TakesNull(people, "People", "Name"));
    QCOMPARE(people.Column("SELECT Name FROM People ORDER BY Name"), QStringList({"Ann", "Bob", "Cid"}));
}

void TstDesignerApply::typeChangeOnALevelThreeTable() {
    PeopleTable people;
    auto legacy = CreateTable(people.location, "Legacy", 3, [](TOstFieldDefs& f) {
        f.Add("Code", dtString, 10)->SetNullable(false);
        f.Add("Amount", dtInteger, 0);
    });
    legacy->AppendRecord({"A", 7});
    TEditing e(legacy.get());
    QVERIFY(e.core.Columns()[1]->GetNullable());
    // A string cannot be nullable below level 4: the retyped column is not,
    // and the box that could not repair it is not needed.
    TOstFieldDef* amount = e.Retype(1, dtString);
    QVERIFY(!amount->GetNullable());
    QVERIFY(!e.editor.Controls().NullableEnabled);
    QCOMPARE(amount->GetSize(), 20);
    APPLIED(e.core, e.view);
    QCOMPARE(legacy->GetFieldDefsOst()[1]->GetDataTypeOst(), int(dtString));
    QCOMPARE(people.Column("SELECT Amount FROM Legacy"), QStringList({"7"}));
}

void TstDesignerApply::refusedRenameLeavesTheTableOpen() {
    PeopleTable people;
    CreateTable(people.location, "Places", 6, [](TOstFieldDefs& f) { f.Add("Town", dtString, 20); });
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(people.table.get());
    QVERIFY(people.table->Active());
    core.WorkingTable()->SetTableName("Places");
    QVERIFY(!core.Apply());
    QVERIFY2(view.shown.join(u'\n').contains("already exists"), qPrintable(view.shown.join(u'\n')));
    QVERIFY(people.table->Active());
    QCOMPARE(people.table->GetTableName(), QStringLiteral("People"));
    QCOMPARE(people.table->RecordCount(), 3);
    // The edit stays in the designer.
    QCOMPARE(core.WorkingTable()->GetTableName(), QStringLiteral("Places"));
}

void TstDesignerApply::failedRestructureKeepsTheRename() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    core.WorkingTable()->SetTableName("Persons");
    core.Columns()[0]->SetSpec("\"NoSuchColumn\""); // the engine refuses the restructure
    QVERIFY(!core.Apply());
    QVERIFY(view.shown.contains("error: " + DesignerText::InvalidIndication()));
    // The rename was done before the restructure and stays; the structure and
    // the rows are as they were, and the table is open again.
    QCOMPARE(people.table->GetTableName(), QStringLiteral("Persons"));
    QVERIFY(people.table->Active());
    QStringList tables;
    people.table->GetDatabase()->GetTableNames(tables, false);
    QVERIFY2(tables.contains("Persons") && !tables.contains("People"), qPrintable(tables.join(u',')));
    QCOMPARE(people.Column("SELECT Name FROM Persons ORDER BY Name"), QStringList({"Ann", "Bob", "Cid"}));
    QCOMPARE(people.table->GetFieldDefsOst().GetFieldDef(0)->GetSpec(), QStringLiteral("\"Name\""));
    // The edits stay in the designer: repaired, the restructure applies alone.
    core.Columns()[0]->SetSpec("\"City\"");
    APPLIED(core, view);
    QCOMPARE(people.table->GetTableName(), QStringLiteral("Persons"));
    QCOMPARE(people.table->GetFieldDefsOst().GetFieldDef(0)->GetSpec(), QStringLiteral("\"City\""));
    QCOMPARE(people.Column("SELECT count(*) FROM Persons"), QStringList({"3"}));
}

void TstDesignerApply::indicationOfferedToANewRecordId() {
    PeopleTable people;
    auto tags = CreateTable(people.location, "Tags", 6, [](TOstFieldDefs& f) {
        f.Add("Num", dtInteger, 0);
        f.Add("Label", dtString, 20);
        f.Add("Code", dtString, 8);
    });
    {
        // No key, no unique index: nothing offered.
        TEditing e(tags.get());
        QCOMPARE(e.Retype(0, dtAutoInc)->GetSpec(), QString());
    }
    {
        // The first unique index, over its columns.
        TEditing e(tags.get());
        e.core.WorkingTable()->IndexDefs().Add("ByLabel", "Label", TIndexOptions());
        e.core.WorkingTable()->IndexDefs().Add("ByCode", "Code;Label", ixUnique);
        QCOMPARE(e.core.DefaultIndication(), QStringLiteral("Code;Label"));
        QCOMPARE(e.Retype(0, dtAutoInc)->GetSpec(), QStringLiteral("\"Code;Label\""));
    }
    // The primary key comes first, and the engine takes the indication.
    TEditing e(tags.get());
    e.core.WorkingTable()->IndexDefs().Add("ByCode", "Code", ixUnique);
    e.core.ToggleKeyField(e.core.Columns()[1]);
    TOstFieldDef* num = e.Retype(0, dtAutoInc);
    QCOMPARE(num->GetSpec(), QStringLiteral("\"Label\""));
    QCOMPARE(e.editor.Controls().Indication, QStringLiteral("\"Label\""));
    e.core.WorkingTable()->IndexDefs().Delete(e.core.WorkingTable()->IndexDefs().IndexOf("ByCode"));
    APPLIED(e.core, e.view);
    QCOMPARE(tags->GetFieldDefsOst()[0]->GetDataTypeOst(), int(dtAutoInc));
    QCOMPARE(tags->GetFieldDefsOst()[0]->GetSpec(), QStringLiteral("\"Label\""));
}

void TstDesignerApply::choosingAnEncryptingMethodAsksForThePassword() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    // Cancelled: the method stays as it was, nothing to apply.
    QVERIFY(!core.EncryptionMethodChosen(emRijndael));
    QCOMPARE(view.Last(), QStringLiteral("key for 6"));
    QCOMPARE(core.WorkingTable()->GetEncryptionMethod(), people.table->GetEncryptionMethod());
    QVERIFY(core.RefreshModificationsList().IsEmpty());
    view.key = "open sesame";
    QVERIFY(core.EncryptionMethodChosen(emRijndael));
    QCOMPARE(core.EncryptionKey(), QStringLiteral("open sesame"));
    APPLIED(core, view);
    QCOMPARE(people.table->GetEncryptionMethod(), int(emRijndael));
    QCOMPARE(people.Column("SELECT Name FROM People ORDER BY Name"), QStringList({"Ann", "Bob", "Cid"}));
    // A method without a password asks nothing and forgets the key.
    view.shown.clear();
    QVERIFY(core.EncryptionMethodChosen(emNone));
    QVERIFY(view.shown.isEmpty());
    QCOMPARE(core.EncryptionKey(), QString());
    QCOMPARE(core.WorkingTable()->GetEncryptionMethod(), int(emNone));
    APPLIED(core, view);
    QCOMPARE(people.table->GetEncryptionMethod(), int(emNone));
}

void TstDesignerApply::indexChangesReachTheFile() {
    PeopleInCore fixture;
    auto& [people, view, core] = fixture;
    TIndexDefs& indexes = core.WorkingTable()->IndexDefs();
    indexes.Delete(indexes.IndexOf("ByCity"));
    indexes.Add("ByAge", "Age", ixDescending);
    APPLIED(core, view);
    // Read from the file by another component, not from the designed one.
    {
        auto fresh = people.Open();
        fresh->ReadDefinitions();
        QVERIFY(!fresh->IndexDefs().Find("ByCity"));
        QVERIFY(fresh->IndexDefs().Find("ByAge"));
    }
    QVERIFY(view.shown.contains("status: Creating index ByAge ..."));
    QVERIFY(!view.shown.join(u'\n').contains("Restructuring"));

    // A changed index is dropped and made again with its new columns.
    TRecordingView again;
    TOstTableDesignerCore second(&again);
    second.SetOstDataset(people.table.get());
    second.WorkingTable()->IndexDefs().Find("ByAge")->Fields = "Age;Name";
    QCOMPARE(second.RefreshModificationsList().Lines(), QStringList({"\tIndex ByAge: fields changed"}));
    APPLIED(second, again);
    auto third = people.Open();
    third->ReadDefinitions();
    QCOMPARE(third->IndexDefs().Find("ByAge")->Fields, QStringLiteral("Age;Name"));
}

void TstDesignerApply::changedKeyReachesTheFile() {
    PeopleTable people;
    {
        TRecordingView view;
        TOstTableDesignerCore core(&view);
        core.SetOstDataset(people.table.get());
        core.ToggleKeyField(core.Columns()[0]);
        APPLIED(core, view);
    }
    // A key that was there takes other columns.
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(people.table.get());
    QCOMPARE(core.StoredKeyFields(), QStringList({"ID"}));
    core.ToggleKeyField(core.Columns()[0]);
    core.ToggleKeyField(core.Columns()[2]);
    core.ToggleKeyField(core.Columns()[1]);
    QCOMPARE(core.KeyFields(), QStringList({"Name", "City"}));
    APPLIED(core, view);
    auto fresh = people.Open();
    fresh->ReadDefinitions();
    const TIndexDef* primary = TOstTableDesignerCore::GetPrimaryIndex(*fresh);
    QVERIFY(primary);
    QCOMPARE(primary->Fields, QStringLiteral("Name;City"));
    QCOMPARE(fresh->IndexDefs().Count(), 2); // and ByCity
}

void TstDesignerApply::levelBelowSixClearsTheCollations() {
    PeopleTable people;
    {
        TRecordingView view;
        TOstTableDesignerCore core(&view);
        core.SetOstDataset(people.table.get());
        core.WorkingTable()->SetCollationName("de_DE_ci_ai");
        core.Columns()[2]->SetSpec("fr_FR_cs_as");
        APPLIED(core, view);
        QCOMPARE(people.table->GetFieldDefsOst()[2]->GetSpec(), QStringLiteral("fr_FR_cs_as"));
    }
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(people.table.get());
    core.WorkingTable()->SetTableLevel(5);
    APPLIED(core, view);
    auto fresh = people.Open();
    fresh->ReadDefinitions();
    QCOMPARE(fresh->GetTableLevel(), 5);
    QCOMPARE(fresh->GetCollationName(), QStringLiteral("Ostra"));
    QCOMPARE(fresh->GetFieldDefsOst()[2]->GetSpec(), QString());
    QCOMPARE(fresh->GetFieldDefsOst()[1]->GetSpec(), QString());
    // The working copy shows the applied state: nothing left to apply.
    QVERIFY(core.RefreshModificationsList().IsEmpty());
}

// A table of a data module, on a database component of the module named
// like one of another module: the cost is asked of the engine about the
// table's own database, and nothing is added to the module meanwhile.
void TstDesignerApply::costOfApplyingForATableOfAModule() {
    PeopleTable people;
    people.table.reset();
    QTemporaryDir elsewhere;
    TComponent other;
    auto* namesake = new TOstDatabase(&other);
    namesake->SetDatabaseName(QStringLiteral("Registry"));
    namesake->SetLocation(elsewhere.path());
    TComponent module;
    auto* db = new TOstDatabase(&module);
    db->SetDatabaseName(QStringLiteral("Registry"));
    db->SetLocation(people.location);
    auto* table = new TOstTable(&module);
    table->SetDatabaseName(QStringLiteral("Registry"));
    table->SetTableName(QStringLiteral("People"));
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(table);
    QCOMPARE(core.ApplyCost(), QString()); // nothing to apply
    core.Columns()[2]->SetSize(40);
    core.RefreshModificationsList();
    const int components = module.ComponentCount();
    QCOMPARE(core.ApplyCost(), QStringLiteral("Applying changes the table in place: no rows are copied."));
    QCOMPARE(module.ComponentCount(), components);
    core.ToggleKeyField(core.Columns()[1]);
    core.RefreshModificationsList();
    QCOMPARE(core.ApplyCost(), QStringLiteral("Applying rebuilds the table, copying every row: the primary key is added."));
    core.ToggleKeyField(core.Columns()[1]);
    core.MoveColumn(3, -1);
    core.RefreshModificationsList();
    QCOMPARE(core.ApplyCost(), QStringLiteral("Applying rebuilds the table, copying every row: column \"Age\" moves."));
    core.MoveColumn(2, 1);
    APPLIED(core, view);
    QCOMPARE(people.Open()->FieldByName(QStringLiteral("City"))->GetSize(), 40);
}

QTEST_GUILESS_MAIN(TstDesignerApply)
#include "tst_designerapply.moc"
