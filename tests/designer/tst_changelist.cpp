// Every text of the change list, one edit of a real table each: a table of
// edits and the lines the difference dialog lists for them, read by a fresh
// designer on a table made with columns of every kind, indexes, a fulltext
// index, a foreign key and a check. Then what the list decides: which edits
// need a restructure and which make which kind of edit pending.
#include "designer_helper.h"

#include <QtTest>
#include <functional>

namespace {

using TEdit = std::function<void(TOstTableDesignerCore&)>;

struct TCase {
    const char* name;
    TEdit edit;
    QStringList lines; // "position<TAB>text"
};

TOstFieldDef* Col(TOstTableDesignerCore& core, const char* name) { return core.Columns().Find(QString::fromLatin1(name)); }
TOstTable& W(TOstTableDesignerCore& core) { return *core.WorkingTable(); }
TIndexDef* Ix(TOstTableDesignerCore& core, const char* name) { return W(core).IndexDefs().Find(QString::fromLatin1(name)); }
TOstFulltextIndexDef* Ft(TOstTableDesignerCore& core) { return W(core).FulltextIndexDefs()[0]; }
TOstForeignKeyDef* Fk(TOstTableDesignerCore& core) { return W(core).GetIntegrityRules()[0]; }
TCheckConstraint* Ck(TOstTableDesignerCore& core) { return W(core).CheckConstraints()[0]; }

// Rich: 1 ID autoinc ("Name"), 2 Name string 30 not null, 3 Price float (2), 4 Kind enum,
// 5 Owner link to People, 6 Made time (3), 7 Total integer always Qty * 2, 8 Qty integer
// defaulting to 1, 9 Notes memo, 10 PersonID integer.
const QList<TCase>& Cases() {
    static const QList<TCase> cases = {
        {"unchanged", [](TOstTableDesignerCore&) {}, {"\tNo changes to table structure"}},
        // the table
        {"table renamed", [](TOstTableDesignerCore& c) { W(c).SetTableName("Riches"); }, {"\tTable renamend to Riches"}},
        {"level below six",
         [](TOstTableDesignerCore& c) {
             W(c).SetTableLevel(5);
             W(c).SetCollationName("de_DE_cs_as");
         },
         {"\tFile version of table changed.", "\tTable collation and individual field collations must be set to default"}},
        {"encryption method", [](TOstTableDesignerCore& c) { W(c).SetEncryptionMethod(emProtection); },
         {"\tProtection/encryption of table changed."}},
        {"encryption key", [](TOstTableDesignerCore& c) { c.SetEncryptionKey("new key"); },
         {"\tProtection/encryption of table changed."}},
        {"capacity", [](TOstTableDesignerCore& c) { W(c).SetCapacity(2000); }, {"\tCapacity altered from 100,000 to 2,000"}},
        {"collation", [](TOstTableDesignerCore& c) { W(c).SetCollationName("de_DE_ci_as"); },
         {"\tCollation altered from \"Ostra\" to \"de_DE_ci_as\""}},
        {"collation case only", [](TOstTableDesignerCore& c) { W(c).SetCollationName("OSTRA"); }, {"\tNo changes to table structure"}},
        // columns
        {"extended", [](TOstTableDesignerCore& c) { Col(c, "Name")->SetSize(31); }, {"2\tName extended."}},
        {"truncated", [](TOstTableDesignerCore& c) { Col(c, "Name")->SetSize(29); }, {"2\tName truncated."}},
        {"type", [](TOstTableDesignerCore& c) { Col(c, "Qty")->SetDataTypeOst(dtLargeInt); }, {"8\tQty column type changed ."}},
        {"nullable", [](TOstTableDesignerCore& c) { Col(c, "Name")->SetNullable(true); }, {"2\tName nullable property altered."}},
        {"connection", [](TOstTableDesignerCore& c) { Col(c, "Owner")->SetSpec("Rich"); }, {"5\tOwner connection altered."}},
        {"connection case only", [](TOstTableDesignerCore& c) { Col(c, "Owner")->SetSpec("PEOPLE"); },
         {"\tNo changes to table structure"}},
        {"selection", [](TOstTableDesignerCore& c) { Col(c, "Kind")->SetSpec("small,large,huge"); }, {"4\tKind selection altered."}},
        {"renamed", [](TOstTableDesignerCore& c) { Col(c, "Qty")->SetName("Quantity"); }, {"8\tQuantity renamed."}},
        {"renamed and resized", [](TOstTableDesignerCore& c) {
             Col(c, "Name")->SetSize(40);
             Col(c, "Name")->SetName("FullName");
         }, {"2\tFullName renamed."}},
        {"indication", [](TOstTableDesignerCore& c) { Col(c, "ID")->SetSpec("\"Kind\""); },
         {"1\tID indication of the Record ID altered."}},
        {"indication blanks", [](TOstTableDesignerCore& c) { Col(c, "ID")->SetSpec(" \"Name\" "); }, {"\tNo changes to table structure"}},
        {"calculation kind", [](TOstTableDesignerCore& c) { Col(c, "Total")->SetInternalCalcField(false); },
         {"7\tTotal calculation expression altered."}},
        {"calculation", [](TOstTableDesignerCore& c) { Col(c, "Qty")->SetCalcExpression("2"); },
         {"8\tQty calculation expression altered."}},
        {"position", [](TOstTableDesignerCore& c) { c.MoveColumn(9, -1); },
         {"10\tNotes position changed.", "9\tPersonID position changed."}},
        {"deleted", [](TOstTableDesignerCore& c) { c.DeleteColumn(9); }, {"9\tPersonID deleted."}},
        {"deleted inside", [](TOstTableDesignerCore& c) { c.DeleteColumn(7); },
         {"9\tQty deleted.", "8\tNotes position changed.", "9\tPersonID position changed."}},
        {"added", [](TOstTableDesignerCore& c) { c.AddColumn(10, "Extra"); }, {"11\tExtra added."}},
        {"specification", [](TOstTableDesignerCore& c) { Col(c, "Qty")->SetSpec("x"); }, {"8\tQty specification altered"}},
        {"enforced index", [](TOstTableDesignerCore& c) { Col(c, "Owner")->SetIsSpecial(true); },
         {"5\tOwner enforced index altered"}},
        {"unique record id", [](TOstTableDesignerCore& c) { Col(c, "ID")->SetIsSpecial(true); }, {"1\tID enforced index altered"}},
        {"precision", [](TOstTableDesignerCore& c) { Col(c, "Price")->SetPrecision(4); }, {"3\tPrice precision altered"}},
        {"time precision", [](TOstTableDesignerCore& c) { Col(c, "Made")->SetPrecision(2); }, {"6\tMade precision altered"}},
        {"column collation", [](TOstTableDesignerCore& c) { Col(c, "Notes")->SetSpec("de_DE_ci_ai"); },
         {"9\tNotes collation altered"}},
        {"column collation default", [](TOstTableDesignerCore& c) { Col(c, "Notes")->SetSpec("Ostra "); },
         {"\tNo changes to table structure"}},
        {"primary key", [](TOstTableDesignerCore& c) { c.ToggleKeyField(Col(c, "Name")); }, {"\tPrimary key modified"}},
        // indexes
        {"index added", [](TOstTableDesignerCore& c) { W(c).IndexDefs().Add("ByKind", "Kind", TIndexOptions()); },
         {"\tIndex ByKind added"}},
        {"index deleted", [](TOstTableDesignerCore& c) { W(c).IndexDefs().Delete(Ix(c, "ByPrice")->Index()); },
         {"\tIndex ByPrice deleted"}},
        {"index renamed", [](TOstTableDesignerCore& c) { Ix(c, "ByPrice")->Name = "BYPRICE"; },
         {"\tIndex ByPrice renamed to BYPRICE"}},
        {"index new name", [](TOstTableDesignerCore& c) { Ix(c, "ByPrice")->Name = "PriceOrder"; },
         {"\tIndex ByPrice deleted", "\tIndex PriceOrder added"}},
        {"index fields", [](TOstTableDesignerCore& c) { Ix(c, "ByPrice")->Fields = "Price;Name"; },
         {"\tIndex ByPrice: fields changed"}},
        {"index descending", [](TOstTableDesignerCore& c) { Ix(c, "ByPrice")->DescFields = "Price"; },
         {"\tIndex ByPrice: Descending fields"}},
        {"index expression", [](TOstTableDesignerCore& c) { Ix(c, "ByPrice")->Expression = "Price * 2"; },
         {"\tIndex ByPrice: Expression changed"}},
        {"index field expression", [](TOstTableDesignerCore& c) { Ix(c, "ByPrice")->Options |= ixExpression; },
         {"\tIndex ByPrice: Field expression changed"}},
        {"index options", [](TOstTableDesignerCore& c) { Ix(c, "ByPrice")->Options |= ixUnique; },
         {"\tIndex ByPrice: Options changed"}},
        // fulltext indexes
        {"fulltext added", [](TOstTableDesignerCore& c) { W(c).FulltextIndexDefs().Add("More.fti", "Notes", "MoreWords"); },
         {"\tFulltext index More.fti added"}},
        {"fulltext deleted", [](TOstTableDesignerCore& c) { W(c).FulltextIndexDefs().Delete(0); },
         {"\tFulltext index Words.fti deleted"}},
        {"fulltext renamed", [](TOstTableDesignerCore& c) { Ft(c)->Name = "WORDS.fti"; },
         {"\tFulltext index Words.fti renamed to WORDS.fti"}},
        {"fulltext fields", [](TOstTableDesignerCore& c) { Ft(c)->Fields = "Name"; }, {"\tFulltext index Words.fti: fields changed"}},
        {"fulltext dictionary", [](TOstTableDesignerCore& c) { Ft(c)->Dictionary = "OtherWords"; },
         {"\tFulltext index Words.fti: Dictionary changed"}},
        {"fulltext relevance", [](TOstTableDesignerCore& c) { Ft(c)->MinRelevance = 9; },
         {"\tFulltext index Words.fti: Min relevance changed"}},
        {"fulltext options", [](TOstTableDesignerCore& c) { Ft(c)->Options = 1; },
         {"\tFulltext index Words.fti: Options changed"}},
        {"fulltext separators", [](TOstTableDesignerCore& c) { Ft(c)->Separators = " ,;"; },
         {"\tFulltext index Words.fti: Separators changed"}},
        // foreign keys
        {"foreign key added", [](TOstTableDesignerCore& c) {
             TOstForeignKeyDef* fk = W(c).GetIntegrityRules().Add("ToSelf");
             fk->ParentTable = "Rich";
             fk->ChildFields = "PersonID";
             fk->ParentFields = "ID";
         }, {"\tForeign key ToSelf added"}},
        {"foreign key deleted", [](TOstTableDesignerCore& c) { W(c).GetIntegrityRules().Delete(0); },
         {"\tForeign key ToPeople deleted"}},
        {"foreign key renamed", [](TOstTableDesignerCore& c) { Fk(c)->Name = "TOPEOPLE"; },
         {"\tForeign key ToPeople renamed to TOPEOPLE"}},
        {"foreign key parent", [](TOstTableDesignerCore& c) { Fk(c)->ParentTable = "Rich"; },
         {"\tForeign key ToPeople: Parent table changed"}},
        // The stored spelling follows the designer's, so a change of case is applied too.
        {"foreign key parent case only", [](TOstTableDesignerCore& c) { Fk(c)->ParentTable = "PEOPLE"; },
         {"\tForeign key ToPeople: Parent table changed"}},
        {"foreign key parent fields", [](TOstTableDesignerCore& c) { Fk(c)->ParentFields = "Age"; },
         {"\tForeign key ToPeople: Parent fields changed"}},
        {"foreign key child fields", [](TOstTableDesignerCore& c) { Fk(c)->ChildFields = "Qty"; },
         {"\tForeign key ToPeople: Child fields changed"}},
        {"foreign key update", [](TOstTableDesignerCore& c) { Fk(c)->UpdateAction = faCascade; },
         {"\tForeign key ToPeople: Update action changed"}},
        {"foreign key delete", [](TOstTableDesignerCore& c) { Fk(c)->DeleteAction = faSetNull; },
         {"\tForeign key ToPeople: Delete action changed"}},
        // checks
        {"check condition", [](TOstTableDesignerCore& c) { Ck(c)->ImportedConstraint = "Price > 0"; },
         {"\tCheck Positive: Condition changed"}},
        {"check message", [](TOstTableDesignerCore& c) { Ck(c)->ErrorMessage = "No."; }, {"\tCheck Positive: Message changed"}},
        {"check deleted", [](TOstTableDesignerCore& c) { W(c).CheckConstraints().Delete(0); },
         {"\tCheck Positive: Condition deleted"}},
        {"check added", [](TOstTableDesignerCore& c) {
             TCheckConstraint* check = W(c).CheckConstraints().Add();
             check->Name = "Some";
             check->ImportedConstraint = "Qty < 100";
         }, {"\tCheck Some: Condition added"}},
        // the groups keep the dialog's order whatever the order of the edits
        {"groups in order", [](TOstTableDesignerCore& c) {
             Ck(c)->ErrorMessage = "No.";
             Fk(c)->DeleteAction = faSetNull;
             Ft(c)->MinRelevance = 9;
             W(c).IndexDefs().Add("ByKind", "Kind", TIndexOptions());
             c.ToggleKeyField(Col(c, "Name"));
             Col(c, "Qty")->SetName("Quantity");
             W(c).SetCapacity(2000);
             W(c).SetTableName("Riches");
         }, {"\tTable renamend to Riches", "\tCapacity altered from 100,000 to 2,000", "8\tQuantity renamed.",
             "\tPrimary key modified", "\tIndex ByKind added", "\tForeign key ToPeople: Delete action changed",
             "\tFulltext index Words.fti: Min relevance changed", "\tCheck Positive: Message changed"}},
    };
    return cases;
}

} // namespace

class TstChangeList : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void textOfEachChange_data();
    void textOfEachChange();
    void whatTheListDecides();

private:
    void MakeRich();
    std::unique_ptr<PeopleTable> m_people;
    std::unique_ptr<TOstTable> Rich() const;
};

void TstChangeList::initTestCase() {
    try {
        MakeRich();
    } catch (const Exception& e) {
        QFAIL(qPrintable(e.Message()));
    }
}

void TstChangeList::MakeRich() {
    QLocale::setDefault(QLocale::c());
    m_people = std::make_unique<PeopleTable>();
    // A foreign key refers to a unique index of its parent.
    m_people->table->AddIndex("ById", "ID", ixUnique);
    TOstTable t;
    t.SetDatabaseName(m_people->location);
    t.SetTableName("Rich");
    TOstFieldDefs& f = t.GetFieldDefsOst();
    f.Add("ID", dtAutoInc, 0)->SetSpec("\"Name\"");
    f.Add("Name", dtString, 30)->SetNullable(false);
    f.Add("Price", dtFloat, 0)->SetPrecision(2);
    f.Add("Kind", dtEnum, 0)->SetSpec("small,large");
    f.Add("Owner", dtLink, 0)->SetSpec("People");
    f.Add("Made", dtTime, 0)->SetPrecision(3);
    TOstFieldDef* total = f.Add("Total", dtInteger, 0);
    total->SetCalcExpression("Qty * 2");
    total->SetInternalCalcField(true);
    f.Add("Qty", dtInteger, 0)->SetCalcExpression("1");
    f.Add("Notes", dtMemo, 0);
    f.Add("PersonID", dtInteger, 0);
    t.IndexDefs().Add("ByPrice", "Price", TIndexOptions());
    TOstForeignKeyDef* fk = t.GetIntegrityRules().Add("ToPeople");
    fk->ParentTable = "People";
    fk->ChildFields = "PersonID";
    fk->ParentFields = "ID";
    TCheckConstraint* check = t.CheckConstraints().Add();
    check->Name = "Positive";
    check->ImportedConstraint = "Price >= 0";
    check->ErrorMessage = "Price must not be negative";
    t.CreateTable();
    // The fulltext index comes the designer's way, with its dictionary.
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(&t);
    core.WorkingTable()->FulltextIndexDefs().Add("Words.fti", "Name;Notes", "RichWords");
    QVERIFY2(core.Apply(), qPrintable(view.shown.join(u'\n')));
}

std::unique_ptr<TOstTable> TstChangeList::Rich() const {
    auto t = std::make_unique<TOstTable>();
    t->SetDatabaseName(m_people->location);
    t->SetTableName("Rich");
    t->Open();
    return t;
}

void TstChangeList::textOfEachChange_data() {
    QTest::addColumn<int>("row");
    for (int i = 0; i < Cases().size(); ++i) QTest::newRow(Cases()[i].name) << i;
}

void TstChangeList::textOfEachChange() {
    QFETCH(int, row);
    const TCase& c = Cases()[row];
    auto rich = Rich();
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(rich.get());
    QVERIFY(core.RefreshModificationsList().IsEmpty());
    c.edit(core);
    QCOMPARE(core.RefreshModificationsList().Lines(), c.lines);
}

// Which edits restructure, and which kind of edit each makes pending.
void TstChangeList::whatTheListDecides() {
    struct TDecision {
        const char* name;
        bool restructure, structureDirty, indexesDirty;
    };
    const QList<TDecision> decisions = {
        {"unchanged", false, false, false},        {"table renamed", false, false, false},
        {"capacity", true, false, false},          {"encryption key", true, false, false},
        {"level below six", true, false, false},   {"extended", true, true, false},
        {"primary key", true, true, false},        {"foreign key delete", true, true, false},
        {"check message", true, true, false},      {"index added", false, false, true},
        {"index deleted", false, false, true},     {"fulltext relevance", false, false, true},
    };
    for (const TDecision& d : decisions) {
        const auto it = std::find_if(Cases().begin(), Cases().end(), [&](const TCase& c) { return qstrcmp(c.name, d.name) == 0; });
        QVERIFY(it != Cases().end());
        auto rich = Rich();
        TRecordingView view;
        TOstTableDesignerCore core(&view);
        core.SetOstDataset(rich.get());
        it->edit(core);
        core.UpdateDirtyFlags();
        QVERIFY2(core.NeedRestructure() == d.restructure, d.name);
        QVERIFY2(core.DirtyStructure() == d.structureDirty, d.name);
        QVERIFY2(core.DirtyIndexes() == d.indexesDirty, d.name);
        // The column property editor is told what it may still change.
        QVERIFY2(view.allowField == !d.indexesDirty && view.allowIndex == !d.structureDirty, d.name);
    }
    // Each flag alone tells the column property editor its half.
    {
        auto table = Rich();
        TRecordingView view;
        TOstTableDesignerCore core(&view);
        core.SetOstDataset(table.get());
        core.SetDirtyStructure(true);
        QVERIFY(view.allowField && !view.allowIndex);
        core.SetDirtyStructure(false);
        core.SetDirtyIndexes(true);
        QVERIFY(!view.allowField && view.allowIndex);
    }
    // New columns are nullable from level 4 on.
    for (int level : {3, 4}) {
        TOstTable fresh;
        fresh.SetDatabaseName(m_people->location);
        fresh.SetTableName("Fresh");
        fresh.SetTableLevel(level);
        TRecordingView view;
        TOstTableDesignerCore core(&view);
        core.SetNewTable(true);
        core.SetOstDataset(&fresh);
        QCOMPARE(core.AddColumn(0)->GetNullable(), level == 4);
    }
    // Between levels below 6 the collations stay as they are.
    {
        TOstTable low;
        low.SetDatabaseName(m_people->location);
        low.SetTableName("Low");
        low.SetTableLevel(4);
        low.GetFieldDefsOst().Add("Code", dtString, 10);
        low.CreateTable();
        TRecordingView view;
        TOstTableDesignerCore core(&view);
        core.SetOstDataset(&low);
        core.WorkingTable()->SetTableLevel(5);
        QCOMPARE(core.RefreshModificationsList().Lines(), QStringList({"\tFile version of table changed."}));
        QVERIFY(!core.ResetCollations());
        QVERIFY(core.NeedRestructure());
    }
    // A rename with anything else of the table restructures; a new table's name alone does too.
    auto rich = Rich();
    TRecordingView view;
    TOstTableDesignerCore core(&view);
    core.SetOstDataset(rich.get());
    core.WorkingTable()->SetTableName("Riches");
    core.WorkingTable()->SetCapacity(5000);
    core.RefreshModificationsList();
    QVERIFY(core.NeedRestructure());
    TOstTable fresh;
    fresh.SetDatabaseName(m_people->location);
    fresh.SetTableName("Fresh");
    TOstTableDesignerCore created(&view);
    created.SetNewTable(true);
    created.SetOstDataset(&fresh);
    created.AddColumn(0);
    created.RefreshModificationsList();
    QVERIFY(created.NeedRestructure());
    QVERIFY(created.AllowEditIndexes() && created.AllowEditStructure());
}

QTEST_GUILESS_MAIN(TstChangeList)
#include "tst_changelist.moc"
