// The Indexes page's core on real tables: the rows of the list with the
// engine's figures, the name check, what Add, Edit and Delete do with the
// index definitions and pending dictionaries, what the column property
// editor's index boxes do, and the apply: what the list shows is what is
// applied or refused with a message.
#include "designer_helper.h"

#include "designer/core/ostindexpagecore.h"
#include "designer/core/ostindexstrings.h"
#include "engine/ostquery.h"
#include "indexdef/core/ostindexdefcore.h"

#include <QFileInfo>
#include <QtTest>

class TstIndexPageCore : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void rowsAndFigures();
    void nameCheck_data();
    void nameCheck();
    void addEditDeleteWithDictionaries();
    void appliedAsListedOrRefused_data();
    void appliedAsListedOrRefused();
    void namesDifferingInCase();
    void columnIndexBoxes();
    void capacityOfALevelThreeIndex();
    void pendingDictionaryMadeOnApply();
};

#define APPLIED(core, view) QVERIFY2((core).Apply(), qPrintable((view).shown.join(u'\n')))

namespace {

QStringList Texts(const TModifications& list) {
    QStringList texts;
    for (const TModification& m : list) texts.append(m.GetText());
    return texts;
}

QString Row(const TIndexListRow& r) {
    static const char* icons[] = {"primary", "system", "index", "fulltext"};
    return QStringList({QString::fromLatin1(icons[r.Icon]), r.Caption, r.Description, r.Options, r.KeySize, r.PageSize,
                        r.Capacity})
        .join(u'|');
}

QStringList RowTexts(TIndexesPageCore& page) {
    QStringList rows;
    for (const TIndexListRow& r : page.Rows()) rows << Row(r);
    return rows;
}

// A designer core with the page core on one table.
struct Designer {
    TRecordingView view;
    TOstTableDesignerCore core{&view};
    TIndexesPageCore page{core};
    explicit Designer(TOstTable* t, bool newTable = false) {
        core.SetNewTable(newTable);
        core.SetOstDataset(t);
    }
    QStringList Changes() { return Texts(core.RefreshModificationsList()); }
    TIndexListRow RowOf(const QString& caption) {
        for (const TIndexListRow& r : page.Rows())
            if (r.Caption == caption) return r;
        return {};
    }
};

std::unique_ptr<TOstTable> Docs(const QString& location, int level = 6) {
    if (!QFileInfo::exists(location)) {
        TOstDatabase db;
        db.SetLocation(location);
        db.CreateDatabase();
    }
    auto t = std::make_unique<TOstTable>();
    t->SetDatabaseName(location);
    t->SetTableName("Docs");
    t->SetTableLevel(level);
    t->GetFieldDefsOst().Add("ID", dtAutoInc, 0);
    t->GetFieldDefsOst().Add("Title", dtString, 60)->SetNullable(level >= 4);
    t->GetFieldDefsOst().Add("Body", dtMemo, 0)->SetNullable(level >= 4);
    t->CreateTable();
    t->Open();
    return t;
}

} // namespace

void TstIndexPageCore::rowsAndFigures() {
    PeopleTable people;
    {
        TOstTable& t = *people.table;
        t.Close();
        t.ReadDefinitions();
        t.IndexDefs().Add("sys_primary", "ID", ixPrimary | ixUnique);
        t.AlterTable();
        t.AddIndex("ByNameAge", "Name;Age", ixUnique, "Age");
        t.AddIndex("ByUpper", "Upper(Name)", ixExpression);
        t.AddFulltextIndex2("Words.fti", "Name;City", "PeopleDict", QString());
        t.AddFulltextIndex2("Towns", "City", "PeopleDict", QString());
        t.Open();
    }
    Designer d(people.table.get());
    // Key size: the columns' widths and the record id; page size: the file's;
    // capacity: the table's from level 4 on.
    QCOMPARE(RowTexts(d.page), QStringList({"index|ByCity|City||29|4096|100000", "primary|sys_primary|ID|unique|16|4096|100000",
                                            "index|ByNameAge|Name; -Age|unique|43|4096|100000",
                                            "index|ByUpper|Upper(Name)|expression|40|4096|100000",
                                            "fulltext|Words|Name; City||||", "fulltext|Towns|City||||"}));
    // A fulltext index with an extension belongs to the engine; one without may be edited.
    QVERIFY(d.RowOf("Words").IsSystem());
    QVERIFY(!d.RowOf("Towns").IsSystem());
    QVERIFY(d.RowOf("sys_primary").IsSystem());
    QVERIFY(!d.RowOf("ByCity").IsSystem());

    // An index edited but not applied has no figures yet; applied, it has its new ones.
    TIndexDef* byCity = d.core.WorkingTable()->IndexDefs().Find("ByCity");
    byCity->Fields = "City;Name";
    QCOMPARE(Row(d.RowOf("ByCity")), QStringLiteral("index|ByCity|City; Name||||"));
    d.core.UpdateDirtyFlags();
    APPLIED(d.core, d.view);
    d.page.StatisticsChanged();
    QCOMPARE(Row(d.RowOf("ByCity")), QStringLiteral("index|ByCity|City; Name||60|4096|100000"));

    // A table that does not exist yet has no figures.
    auto fresh = std::make_unique<TOstTable>();
    fresh->SetDatabaseName(people.location);
    fresh->SetTableName("Fresh");
    Designer n(fresh.get(), true);
    n.core.AddColumn(0, "A");
    n.core.WorkingTable()->IndexDefs().Add("ByA", "A", TIndexOptions());
    QCOMPARE(RowTexts(n.page), QStringList({"index|ByA|A||||"}));
}

void TstIndexPageCore::nameCheck_data() {
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("valid");
    for (const char* name : {"tmpIndex", "TMP", "Sys_Name", "TMPX", "sys_"}) QTest::newRow(name) << 4 << name << false;
    QTest::newRow("sysName") << 4 << "sysName" << true;
    QTest::newRow("tmp at level 3") << 3 << "tmpIndex" << true;
    QTest::newRow("an existing name") << 6 << "ByCity" << false;
    QTest::newRow("an existing fulltext name") << 6 << "Towns" << false;
    QTest::newRow("differing in case") << 6 << "bycity" << true;
    QTest::newRow("Idx.ind at level 3") << 3 << "Idx.ind" << true;
    QTest::newRow("Idx.IND at level 3") << 3 << "Idx.IND" << true;
    QTest::newRow("Idx.txt at level 3") << 3 << "Idx.txt" << false;
    QTest::newRow("a quote") << 6 << "By\"City" << false;
    QTest::newRow("a slash") << 6 << "By/City" << false;
    QTest::newRow("blank") << 6 << " " << false;
}

void TstIndexPageCore::nameCheck() {
    QFETCH(int, level);
    QFETCH(QString, name);
    QFETCH(bool, valid);
    PeopleTable people;
    Designer d(people.table.get());
    d.core.WorkingTable()->SetTableLevel(level);
    d.core.WorkingTable()->FulltextIndexDefs().Add("Towns", "City", "Dict");
    QCOMPARE(d.page.IsValidIndexName(nullptr, name), valid);
    // The definition being named does not collide with itself.
    QVERIFY(d.page.IsValidIndexName(d.core.WorkingTable()->IndexDefs().Find("ByCity"), "ByCity"));
    QCOMPARE(d.page.InvalidIndexNameMessage(name),
             level >= 4 ? QStringLiteral("Index %1 already exists or contains invalid characters. Index name must not start with sys or tmp.").arg(name)
                        : QStringLiteral("Index %1 already exists or contains invalid characters.").arg(name));
}

void TstIndexPageCore::addEditDeleteWithDictionaries() {
    PeopleTable people;
    Designer d(people.table.get());
    // A fulltext index with a new dictionary: its settings wait with it.
    TIndexDefinitionCore dialog;
    d.page.PrepareDialog(dialog);
    QVERIFY(!dialog.AllowFileExt() && !dialog.EditableStringLength());
    dialog.Kind = ikFulltext;
    dialog.IndexName = "Words";
    dialog.SetChecked("Name", true);
    dialog.DictionaryIndex = 1;
    dialog.NewDictionaryName = "PeopleWords";
    dialog.MaxKeywordLength = 40;
    dialog.DicEncryptionTypComboBoxChange(dialog.EncryptionItems.indexOf("FastEncrypt"));
    dialog.DictionaryKey = "secret1";
    auto* ft = static_cast<TOstFulltextIndexDef*>(d.page.AddIndex(dialog));
    QCOMPARE(ft->Dictionary, QString());
    const TDictionaryItem* entry = d.core.Dictionaries().FindDictionaryEntry(ft->ID());
    QVERIFY(entry);
    QCOMPARE(entry->Name, QStringLiteral("PeopleWords"));
    QCOMPARE(entry->MaxKeywordLen, 40);
    QCOMPARE(entry->Encryption, int(emFastEncrypt));
    QCOMPARE(entry->Key, QStringLiteral("secret1"));
    QCOMPARE(entry->Collation, QStringLiteral("Ostra"));
    d.core.UpdateDirtyFlags();
    QVERIFY(d.core.DirtyIndexes() && !d.core.DirtyStructure());
    QCOMPARE(d.Changes(), QStringList({"Fulltext index Words added"}));

    // Editing shows the pending settings again and replaces them.
    TIndexDefinitionCore edit;
    d.page.PrepareDialog(edit);
    d.page.LoadDialog(edit, d.RowOf("Words"));
    QVERIFY(edit.NewDictionaryChosen());
    QCOMPARE(edit.NewDictionaryName, QStringLiteral("PeopleWords"));
    QCOMPARE(edit.MaxKeywordLength, 40);
    QCOMPARE(edit.EncryptionItems.value(edit.EncryptionIndex), QStringLiteral("FastEncrypt"));
    edit.NewDictionaryName = "Lexicon";
    QVERIFY(d.page.EditIndex(d.RowOf("Words"), edit));
    QCOMPARE(d.core.Dictionaries().Count(), 1);
    QCOMPARE(d.core.Dictionaries().FindDictionaryEntry(ft->ID())->Name, QStringLiteral("Lexicon"));
    // Choosing an existing dictionary drops the pending one.
    TDictionaryItem fake;
    TIndexDefinitionCore other;
    d.page.PrepareDialog(other);
    d.page.LoadDialog(other, d.RowOf("Words"));
    other.DictionaryItems.append("People");
    other.DictionaryIndex = other.DictionaryItems.size() - 1;
    QVERIFY(d.page.EditIndex(d.RowOf("Words"), other));
    QCOMPARE(ft->Dictionary, QStringLiteral("People"));
    QCOMPARE(d.core.Dictionaries().Count(), 0);

    // Deleting an index with a pending dictionary takes the entry away; a
    // system index is never deleted.
    other.DictionaryIndex = 1;
    other.NewDictionaryName = "Again";
    d.page.EditIndex(d.RowOf("Words"), other);
    QCOMPARE(d.core.Dictionaries().Count(), 1);
    QVERIFY(d.page.DeleteIndex(d.RowOf("Words")));
    QCOMPARE(d.core.Dictionaries().Count(), 0);
    QCOMPARE(d.core.WorkingTable()->FulltextIndexDefs().Count(), 0);
    d.core.WorkingTable()->IndexDefs().Add("sys_primary", "ID", ixPrimary | ixUnique);
    QVERIFY(!d.page.DeleteIndex(d.RowOf("sys_primary")));
    QVERIFY(d.core.WorkingTable()->IndexDefs().Find("sys_primary"));

    // An unchanged edit writes nothing.
    TIndexDefinitionCore same;
    d.page.PrepareDialog(same);
    d.page.LoadDialog(same, d.RowOf("ByCity"));
    QVERIFY(!d.page.EditIndex(d.RowOf("ByCity"), same));
}

void TstIndexPageCore::appliedAsListedOrRefused_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("message");
    const QString invalid = "Index %1 already exists or contains invalid characters. Index name must not start with sys or tmp.";
    QTest::newRow("TMPByName") << "TMPByName" << invalid.arg("TMPByName");
    QTest::newRow("ByName.idx") << "ByName.idx" << invalid.arg("ByName.idx");
    QTest::newRow("sys_x") << "sys_x" << invalid.arg("sys_x");
    QTest::newRow("ByName.ind") << "ByName.ind" << QString();
    QTest::newRow("ByName") << "ByName" << QString();
}

// A definition file (as ostra apply gives it) adding an index: it is created
// as the list shows it, or the apply is refused with a message.
void TstIndexPageCore::appliedAsListedOrRefused() {
    QFETCH(QString, name);
    QFETCH(QString, message);
    PeopleTable people;
    Designer d(people.table.get());
    d.core.WorkingTable()->IndexDefs().Add(name, "Name", TIndexOptions());
    d.core.UpdateDirtyFlags();
    QCOMPARE(d.Changes(), QStringList({QStringLiteral("Index %1 added").arg(name)}));
    QCOMPARE(d.core.IndexChangesRefusal(), message);
    const bool applied = d.core.Apply();
    QCOMPARE(applied, message.isEmpty());
    // Indexes are dropped (phase 0) and added (phase 1) with the form taking no input.
    QCOMPARE(d.view.busy, applied ? QList<bool>({true, false, true, false}) : QList<bool>());
    people.table->ReadDefinitions();
    QCOMPARE(people.table->IndexDefs().Find(name) != nullptr, applied);
    if (!applied) {
        QCOMPARE(d.view.Last(), "error: " + message);
        QVERIFY(d.view.confirmed.isEmpty()); // refused before the list was offered
    }
}

void TstIndexPageCore::namesDifferingInCase() {
    PeopleTable people;
    {
        Designer d(people.table.get());
        // A second index whose name differs only in case is one more index,
        // wherever it stands in the list.
        d.core.WorkingTable()->IndexDefs().Add("bycity", "City;Age", TIndexOptions());
        d.core.WorkingTable()->IndexDefs().Move(1, 0);
        d.core.UpdateDirtyFlags();
        QCOMPARE(d.Changes(), QStringList({"Index bycity added"}));
        APPLIED(d.core, d.view);
    }
    people.table->ReadDefinitions();
    QCOMPARE(people.table->IndexDefs().Count(), 2);
    {
        // A change of letter case alone is a rename.
        Designer d(people.table.get());
        for (TIndexDef* ix : d.core.WorkingTable()->IndexDefs())
            ix->Name = ix->Name == "bycity" ? QStringLiteral("ByCityAge") : QStringLiteral("BYCITY");
        d.core.UpdateDirtyFlags();
        QCOMPARE(d.Changes(),
                 QStringList({"Index bycity deleted", "Index ByCity renamed to BYCITY", "Index ByCityAge added"}));
        APPLIED(d.core, d.view);
    }
    people.table->ReadDefinitions();
    QStringList names;
    for (const TIndexDef* ix : people.table->IndexDefs()) names << ix->Name + u'=' + ix->Fields;
    names.sort();
    QCOMPARE(names, QStringList({"BYCITY=City", "ByCityAge=City;Age"}));
}

void TstIndexPageCore::columnIndexBoxes() {
    PeopleTable people;
    Designer d(people.table.get());
    TOstFieldDefs& cols = d.core.Columns();
    // "Create Index" on and off again: the column's own index comes and goes.
    QVERIFY(d.core.AddColumnIndex(cols[3]));
    QVERIFY(d.core.ColumnHasOwnIndex(cols[3]));
    QCOMPARE(d.core.RemoveColumnIndex(cols[3]), 1);
    QVERIFY(!d.core.ColumnHasOwnIndex(cols[3]));
    d.core.UpdateDirtyFlags();
    QVERIFY(d.Changes().isEmpty());
    // Off for City takes ByCity; never the primary index.
    d.core.ToggleKeyField(cols[0]);
    QCOMPARE(d.core.RemoveColumnIndex(cols[0]), 0);
    QCOMPARE(d.core.RemoveColumnIndex(cols[2]), 1);
    d.core.ToggleKeyField(cols[0]);

    // "Add to Fulltext Index": a fulltext index with a dictionary named after the table.
    TOstFulltextIndexDef* ft = d.core.AddColumnToFulltextIndex(cols[1]);
    QVERIFY(ft);
    QCOMPARE(ft->Name, QStringLiteral("Fulltext"));
    QCOMPARE(ft->Fields, QStringLiteral("Name"));
    QCOMPARE(ft->MinRelevance, 50);
    const TDictionaryItem* entry = d.core.Dictionaries().FindDictionaryEntry(ft->ID());
    QVERIFY(entry);
    QCOMPARE(entry->Name, QStringLiteral("PeopleWords"));
    QVERIFY(!d.core.AddColumnToFulltextIndex(cols[1])); // in it already
    QCOMPARE(d.core.AddColumnToFulltextIndex(cols[2]), ft);
    QCOMPARE(ft->Fields, QStringLiteral("Name;City"));
    QCOMPARE(d.core.RemoveColumnFromFulltextIndex(cols[1]), 1);
    QCOMPARE(ft->Fields, QStringLiteral("City"));
    d.core.UpdateDirtyFlags();
    QCOMPARE(d.Changes(), QStringList({"Index ByCity deleted", "Fulltext index Fulltext added"}));
    APPLIED(d.core, d.view);
    // The dictionary was made as the index was applied, and holds the words.
    QCOMPARE(people.Column("SELECT Keyword || ':' || Relevance FROM PeopleWords ORDER BY Keyword"),
             QStringList({"oslo:2", "rome:1"}));
    people.table->ReadDefinitions();
    QCOMPARE(people.table->FulltextIndexDefs()[0]->Dictionary, QStringLiteral("PeopleWords"));
    QVERIFY(!people.table->IndexDefs().Find("ByCity"));

    // The last column leaving takes the index and its pending dictionary with it.
    Designer e(people.table.get());
    TOstFulltextIndexDef* second = e.core.AddColumnToFulltextIndex(e.core.Columns()[1]);
    QCOMPARE(second->Name, QStringLiteral("Fulltext")); // joins the first index
    e.core.WorkingTable()->FulltextIndexDefs().Clear();
    TOstFulltextIndexDef* made = e.core.AddColumnToFulltextIndex(e.core.Columns()[1]);
    QCOMPARE(e.core.Dictionaries().FindDictionaryEntry(made->ID())->Name, QStringLiteral("PeopleWords2"));
    QCOMPARE(e.core.RemoveColumnFromFulltextIndex(e.core.Columns()[1]), 1);
    QCOMPARE(e.core.WorkingTable()->FulltextIndexDefs().Count(), 0);
    QCOMPARE(e.core.Dictionaries().Count(), 0);

    // Below level 4 there are no fulltext indexes.
    auto low = Docs(people.dir.filePath("low"), 3);
    Designer l(low.get());
    try {
        l.core.AddColumnToFulltextIndex(l.core.Columns()[1]);
        QFAIL("no refusal");
    } catch (const EOstTableDesigner& err) {
        QCOMPARE(err.Message(), QStringLiteral("Fulltext indexes need table level 4 or higher"));
    }
}

void TstIndexPageCore::capacityOfALevelThreeIndex() {
    QTemporaryDir dir;
    auto t = Docs(dir.filePath("db"), 3);
    Designer d(t.get());
    TIndexDefinitionCore dialog;
    d.page.PrepareDialog(dialog);
    QVERIFY(dialog.AdvancedVisible());
    dialog.IndexName = "ByTitle";
    dialog.InsertColumn("Title");
    dialog.CapacityText = "2000000000";
    QVERIFY(dialog.Validate().isEmpty());
    d.page.AddIndex(dialog);
    d.core.UpdateDirtyFlags();
    APPLIED(d.core, d.view);
    d.page.StatisticsChanged();
    QCOMPARE(d.RowOf("ByTitle").Capacity, QStringLiteral("2000000000"));
    // A changed capacity alone is a change of the index.
    TIndexDefinitionCore edit;
    d.page.PrepareDialog(edit);
    d.page.LoadDialog(edit, d.RowOf("ByTitle"));
    QCOMPARE(edit.CapacityText, QStringLiteral("2000000000"));
    edit.CapacityText = "1000000";
    QVERIFY(d.page.EditIndex(d.RowOf("ByTitle"), edit));
    d.core.UpdateDirtyFlags();
    QCOMPARE(d.Changes(), QStringList({"Index ByTitle: Options changed"}));
    APPLIED(d.core, d.view);
    d.page.StatisticsChanged();
    QCOMPARE(d.RowOf("ByTitle").Capacity, QStringLiteral("1000000"));
}

// The dictionary of a new fulltext index is made as the dialog described it,
// and goes again when the index cannot be added.
void TstIndexPageCore::pendingDictionaryMadeOnApply() {
    QTemporaryDir dir;
    auto t = Docs(dir.filePath("db"), 5);
    {
        Designer d(t.get());
        TIndexDefinitionCore dialog;
        d.page.PrepareDialog(dialog);
        dialog.Kind = ikFulltext;
        dialog.IndexName = "Words";
        dialog.SetChecked("Body", true);
        dialog.MinRelevance = 0;
        dialog.DictionaryIndex = 1;
        dialog.NewDictionaryName = "Lexicon";
        dialog.MaxKeywordLength = 12;
        dialog.DicEncryptionTypComboBoxChange(dialog.EncryptionItems.indexOf("Protection"));
        dialog.DictionaryKey = "secret1";
        QVERIFY(dialog.Validate().isEmpty());
        auto* ft = static_cast<TOstFulltextIndexDef*>(d.page.AddIndex(dialog));
        // A level 5 table has no separators of its own: the engine refuses the
        // index, and the dictionary made for it goes again.
        ft->Separators = " ";
        d.core.UpdateDirtyFlags();
        QVERIFY(!d.core.Apply());
        QCOMPARE(d.view.Last(), QStringLiteral("error: Fulltext index \"Words\": own separators need table level 6 or higher"));
        TOstDatabase probe;
        probe.SetLocation(dir.filePath("db"));
        QVERIFY(!probe.TableExists("Lexicon"));
        // Without them it is made as described, and the words go into it.
        ft->Separators.clear();
        APPLIED(d.core, d.view);
    }
    t->Close();
    t->Open();
    t->AppendRecord({QVariant(), "x", "extraordinarily long words"});
    TOstTable made;
    made.SetDatabaseName(dir.filePath("db"));
    made.SetTableName("Lexicon");
    made.SetEncryptionPassword("secret1");
    made.ReadDefinitions();
    QCOMPARE(made.GetEncryptionMethod(), int(emProtection));
    QCOMPARE(made.GetFieldDefsOst()[0]->GetSize(), 12);
    QCOMPARE(made.GetTableLevel(), 5);
    QCOMPARE(ColumnOf(dir.filePath("db"), "SELECT Keyword FROM Lexicon ORDER BY Keyword"),
             QStringList({"extraordinar", "long", "words"})); // cut to the keyword length
}

QTEST_MAIN(TstIndexPageCore)
#include "tst_indexpagecore.moc"
