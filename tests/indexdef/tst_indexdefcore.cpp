// The index definition dialog's core on tables of real databases: which
// columns each kind of index is offered, what the table level decides, the
// key list and the definition strings it makes, reading a definition back,
// the modification test, the collected messages of OK, the collation and
// encryption of a new dictionary, and the pending dictionaries.
#include "indexdef_helper.h"
#include "designer/core/osttabledesignercore.h"
#include "designer/core/osttableprops.h"
#include "engine/ostdataset.h"
#include "indexdef/core/ostdictionaries.h"
#include "indexdef/core/ostindexdefcore.h"

#include <QTemporaryDir>
#include <QtTest>
#include <memory>

class TstIndexDefCore : public QObject {
    Q_OBJECT
private slots:
    void offeredColumns_data();
    void offeredColumns();
    void levelDecidesPagesAndLimits_data();
    void levelDecidesPagesAndLimits();
    void keyListAndDefinitionStrings();
    void readingADefinitionBack();
    void modificationTest();
    void validationMessages_data();
    void validationMessages();
    void dictionaryCollation_data();
    void dictionaryCollation();
    void dictionaryEncryption();
    void fulltextResult();
    void pendingDictionaries();
    void fileExtensionsAndNoDefinition();
};

namespace {

QStringList Names(const QVector<TIndexDefinitionCore::TFulltextColumn>& columns) {
    QStringList names;
    for (const auto& c : columns) names << c.Name;
    return names;
}

} // namespace

void TstIndexDefCore::offeredColumns_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("hierarchical");
    QTest::addColumn<bool>("fulltext");
    for (int t = 0; t < OstDataTypeCount; ++t) {
        const bool hier = t != dtChar && t != dtMemo && t != dtGuid && t != dtLargeLink;
        const bool ft = t != dtChar && t != dtGuid && t != dtLargeLink;
        QTest::newRow(qPrintable(GetDataTypeName(t))) << t << hier << ft;
    }
}

void TstIndexDefCore::offeredColumns() {
    QFETCH(int, type);
    QFETCH(bool, hierarchical);
    QFETCH(bool, fulltext);
    Db db;
    auto t = db.Table("T", 6, {QStringLiteral("C:%1:10").arg(type)});
    TIndexDefinitionCore core;
    core.SetTable(t.get());
    QCOMPARE(core.AvailableColumns().contains("C"), hierarchical);
    QCOMPARE(Names(core.FulltextColumns).contains("C"), fulltext);
}

void TstIndexDefCore::levelDecidesPagesAndLimits_data() {
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("advanced");
    QTest::addColumn<int>("maxExpression");
    QTest::addColumn<bool>("separators");
    for (int level = 1; level <= 6; ++level)
        QTest::newRow(qPrintable(QStringLiteral("level %1").arg(level))) << level << (level < 4) << (level < 4 ? 40 : 255)
                                                                        << (level >= 6);
}

void TstIndexDefCore::levelDecidesPagesAndLimits() {
    QFETCH(int, level);
    QFETCH(bool, advanced);
    QFETCH(int, maxExpression);
    QFETCH(bool, separators);
    Db db;
    auto t = db.Table("T", level, {"Name:1:30"});
    t->SetCapacity(250000);
    TIndexDefinitionCore core;
    core.SetTable(t.get());
    QCOMPARE(core.AdvancedVisible(), advanced);
    QCOMPARE(core.FulltextAvailable(), !advanced);
    QCOMPARE(core.KindEnabled(ikFulltext), !advanced);
    QCOMPARE(core.ExpressionMaxLength(), maxExpression);
    QCOMPARE(core.SeparatorsVisible(), separators);
    QCOMPARE(core.Separators, separators ? OstDefaultFulltextSeparators : QString());
    QCOMPARE(core.CapacityText, QStringLiteral("250000")); // the table's index capacity
    const QString sql = QStringLiteral(
        "Enter a OstraSQL expression with up to %1 characters. Examples:\n\rABS(Debit)\n\rGivenName || ',' || SurName\n\r"
        "EXTRACT(WEEKDAYNO FROM Birthday)\n\r\n\rAlternatively enter a native Ostra expression preceeded by @. Examples:\n\r"
        "Abs(Debit)\n\rGivenName + ' ' + SurName");
    const QString native = QStringLiteral(
        "Enter a native Ostra expression with up to %1 characters. Examples:\n\r\n\rAbs(Debit)\n\rGivenName + ' ' + SurName");
    QCOMPARE(core.ExpressionHint(), (level >= 5 ? sql : native).arg(maxExpression));
    QStringList methods;
    GetEncryptionMethods(methods, level, false);
    QCOMPARE(core.EncryptionItems, methods);
}

void TstIndexDefCore::keyListAndDefinitionStrings() {
    Db db;
    auto t = db.Table("T", 6, {"Name:1:30", "City:16:20", "Age:3"});
    TIndexDefinitionCore core;
    core.SetTable(t.get());
    QCOMPARE(core.AvailableColumns(), QStringList({"Name", "City", "Age"}));
    QCOMPARE(core.InsertColumn("Name"), 0);
    QCOMPARE(core.InsertColumn("City"), 1);
    QCOMPARE(core.InsertColumn("Name"), -1); // taken already
    QCOMPARE(core.AvailableColumns(), QStringList({"Age"}));
    core.SetLength(0, 10);
    core.SetAscending(0, false);
    QCOMPARE(core.KeyTexts(), QStringList({"1. Name:10, descending", "2. City, ascending"}));
    QCOMPARE(core.GetIndexFields(ifAll), QStringLiteral("Name:10;City"));
    QCOMPARE(core.GetIndexFields(ifDescending), QStringLiteral("Name:10"));
    core.IndexName = "ByNameCity";
    TIndexDef def;
    core.UpdateIndexDef(def);
    QCOMPARE(def.Fields, QStringLiteral("Name:10;City"));
    QCOMPARE(def.DescFields, QStringLiteral("Name:10"));
    QCOMPARE(def.Options, TIndexOptions());

    // A length of the whole column is no length; numbers have none.
    core.SetLength(1, 20);
    QCOMPARE(core.Keys()[1]->Length, 0);
    QCOMPARE(core.InsertColumn("Age"), 2);
    core.SetLength(2, 5);
    QCOMPARE(core.Keys()[2]->Length, 0);
    QCOMPARE(core.GetFieldLen("Name:10"), 30);
    QCOMPARE(core.GetFieldLen("City"), 20);
    QCOMPARE(core.GetFieldLen("Age"), 0);
    QVERIFY(core.IsStringField("City") && !core.IsStringField("Age"));
    QCOMPARE(core.GetFieldDataType("Nope"), -1);

    // Moving and deleting: the column goes back to the offered ones in table order.
    QCOMPARE(core.MoveKey(2, -1), 1);
    QCOMPARE(core.GetIndexFields(ifAll), QStringLiteral("Name:10;Age;City"));
    QCOMPARE(core.MoveKey(0, -1), 0); // nowhere to go
    QCOMPARE(core.DeleteKey(0), 0);
    QCOMPARE(core.AvailableColumns(), QStringList({"Name"}));
    QCOMPARE(core.DeleteKey(1), 0);
    QCOMPARE(core.AvailableColumns(), QStringList({"Name", "City"}));
    core.DeleteAllKeys();
    QCOMPARE(core.AvailableColumns(), QStringList({"Name", "City", "Age"}));
    QCOMPARE(core.DeleteKey(0), -1);

    // A key length equal to the column's size is listed without it.
    core.InsertColumn("Name");
    core.Keys()[0]->Length = 30;
    QCOMPARE(core.KeyText(0), QStringLiteral("1. Name, ascending"));
    QCOMPARE(core.GetIndexFields(ifAll), QStringLiteral("Name:30"));

    // A calculated index: its expression, unique when asked.
    core.Kind = ikCalculated;
    core.Expression = "  Upper(Name) ";
    core.Unique = true;
    core.UpdateIndexDef(def);
    QCOMPARE(def.Options, ixUnique | ixExpression);
    QCOMPARE(def.Expression, QStringLiteral("Upper(Name)"));
    QVERIFY(def.Fields.isEmpty() && def.DescFields.isEmpty());
}

void TstIndexDefCore::readingADefinitionBack() {
    Db db;
    auto t = db.Table("T", 3, {"Name:1:30", "City:1:20", "Code:0:5"});
    TIndexDefinitionCore core;
    core.SetTable(t.get());
    TIndexDef def;
    def.Name = "ByNameCity";
    def.Fields = "Name:10;City;Code;Zip:x";
    def.DescFields = "Name:10;City:4";
    def.Options = ixUnique;
    def.Capacity = 2000000;
    core.ModifyIndexDef(&def);
    QCOMPARE(core.IndexName, QStringLiteral("ByNameCity"));
    QVERIFY(core.Unique);
    QCOMPARE(core.Kind, ikHierarchical);
    // Descending only where the DescFields entry is exactly the Fields entry;
    // a length that is not a number reads as none; a column not offered stays.
    QCOMPARE(core.KeyTexts(), QStringList({"1. Name:10, descending", "2. City, ascending", "3. Code, ascending", "4. Zip, ascending"}));
    QCOMPARE(core.AvailableColumns(), QStringList());
    QCOMPARE(core.CapacityText, QStringLiteral("2000000"));
    QVERIFY(!core.CheckIndexDefinitionModified());
    TIndexDef back;
    core.UpdateIndexDef(back);
    QCOMPARE(back.Fields, QStringLiteral("Name:10;City;Code;Zip"));
    QCOMPARE(back.Capacity, 2000000); // below level 4 an index holds its own

    TIndexDef calculated;
    calculated.Name = "ByExpr";
    calculated.Expression = "Name + City";
    calculated.Options = ixExpression;
    core.ModifyIndexDef(&calculated);
    QCOMPARE(core.Kind, ikCalculated);
    QCOMPARE(core.Expression, QStringLiteral("Name + City"));
    QCOMPARE(core.Keys().Count(), 0);
    QVERIFY(!core.KindEnabled(ikFulltext));
}

void TstIndexDefCore::modificationTest() {
    Db db;
    auto t = db.Table("T", 3, {"Name:1:30", "City:1:20"});
    TIndexDef def;
    def.Name = "ByName";
    def.Fields = "Name;City";
    def.DescFields = "City";
    struct Edit {
        const char* what;
        std::function<void(TIndexDefinitionCore&)> edit;
        bool modified;
    };
    const QList<Edit> edits = {
        {"nothing", [](TIndexDefinitionCore&) {}, false},
        {"name", [](TIndexDefinitionCore& c) { c.IndexName = "ByName2"; }, true},
        {"name given an extension", [](TIndexDefinitionCore& c) { c.IndexName = "ByName.ind"; }, false},
        {"direction", [](TIndexDefinitionCore& c) { c.SetAscending(1, true); }, true},
        {"order", [](TIndexDefinitionCore& c) { c.MoveKey(1, -1); }, true},
        {"length", [](TIndexDefinitionCore& c) { c.SetLength(0, 5); }, true},
        {"kind", [](TIndexDefinitionCore& c) { c.Kind = ikCalculated; }, true},
        {"unique", [](TIndexDefinitionCore& c) { c.Unique = true; }, true},
        {"capacity", [](TIndexDefinitionCore& c) { c.CapacityText = "1000000000"; }, true},
    };
    for (const Edit& e : edits) {
        TIndexDefinitionCore core;
        core.SetTable(t.get());
        core.ModifyIndexDef(&def);
        e.edit(core);
        QVERIFY2(core.CheckIndexDefinitionModified() == e.modified, e.what);
    }

    auto six = db.Table("S", 6, {"Title:1:60", "Body:8"}, true);
    TOstFulltextIndexDef ft;
    ft.Name = "Words";
    ft.Fields = "Body;Title";
    ft.Dictionary = "Dict";
    ft.MinRelevance = 20;
    const QList<Edit> fulltextEdits = {
        {"nothing", [](TIndexDefinitionCore&) {}, false},
        {"name", [](TIndexDefinitionCore& c) { c.IndexName = "Terms"; }, true},
        {"columns", [](TIndexDefinitionCore& c) { c.SetChecked("Title", false); }, true},
        {"relevance", [](TIndexDefinitionCore& c) { c.MinRelevance = 21; }, true},
        {"dictionary", [](TIndexDefinitionCore& c) { c.DictionaryIndex = 0; }, true},
        {"new dictionary", [](TIndexDefinitionCore& c) { c.DictionaryIndex = 1; }, true},
        {"separators", [](TIndexDefinitionCore& c) { c.Separators = " "; }, true},
        {"unique has no meaning", [](TIndexDefinitionCore& c) { c.Unique = true; }, false},
    };
    for (const Edit& e : fulltextEdits) {
        TIndexDefinitionCore core;
        core.SetTable(six.get());
        core.ModifyIndexDef(&ft);
        e.edit(core);
        QVERIFY2(core.CheckIndexDefinitionModified() == e.modified, e.what);
    }
}

void TstIndexDefCore::validationMessages_data() {
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("setup"); // what else is filled in
    QTest::addColumn<QStringList>("messages");
    const QString noName = "Index name missing", noColumns = "Index columns missing", noExpr = "Calculation expression missing",
                  noFt = "Fulltext columns missing", noDict = "Dictionary not selected", noDictName = "Dictionary name missing",
                  noPwd = "Dictionary password missing", capacity = "Index capacity cannot be evaluated";
    QTest::newRow("complete hierarchical") << 6 << "ByName" << int(ikHierarchical) << "key" << QStringList();
    QTest::newRow("blank name, no columns") << 6 << "  " << int(ikHierarchical) << "" << QStringList({noName, noColumns});
    QTest::newRow("blank expression") << 6 << "X" << int(ikCalculated) << "blank expression" << QStringList({noExpr});
    QTest::newRow("level 3 capacity abc with the rest")
        << 3 << "" << int(ikHierarchical) << "capacity abc" << QStringList({noName, noColumns, capacity});
    QTest::newRow("level 6 capacity abc") << 6 << "X" << int(ikCalculated) << "expression,capacity abc" << QStringList({capacity});
    QTest::newRow("level 3 capacity too small")
        << 3 << "X" << int(ikHierarchical) << "key,capacity 5" << QStringList({"Capacity must be within 1000 and 2147483647"});
    QTest::newRow("fulltext, nothing chosen") << 6 << "F" << int(ikFulltext) << "" << QStringList({noFt, noDict});
    QTest::newRow("new dictionary without a name") << 6 << "F" << int(ikFulltext) << "check,new" << QStringList({noDictName});
    QTest::newRow("new dictionary of a table's name")
        << 6 << "F" << int(ikFulltext) << "check,new Other" << QStringList({"Dictionary \"Other\" already exists"});
    QTest::newRow("new dictionary named as the table")
        << 6 << "F" << int(ikFulltext) << "check,new t" << QStringList({"Dictionary \"t\" already exists"});
    QTest::newRow("new encrypted dictionary without password")
        << 6 << "F" << int(ikFulltext) << "check,new Dict,encrypt" << QStringList({noPwd});
    QTest::newRow("new encrypted dictionary with password")
        << 6 << "F" << int(ikFulltext) << "check,new Dict,encrypt,password" << QStringList();
    QTest::newRow("existing dictionary") << 6 << "F" << int(ikFulltext) << "check,existing" << QStringList();
}

void TstIndexDefCore::validationMessages() {
    QFETCH(int, level);
    QFETCH(QString, name);
    QFETCH(int, kind);
    QFETCH(QString, setup);
    QFETCH(QStringList, messages);
    Db db;
    db.Table("Other", 6, {"A:1:10"}, true);
    auto t = db.Table("T", level, {"Name:1:30", "Body:8"}, true);
    TIndexDefinitionCore core;
    core.SetTable(t.get());
    core.IndexName = name;
    core.Kind = TIndexKind(kind);
    for (const QString& s : setup.split(u',', Qt::SkipEmptyParts)) {
        if (s == "key") core.InsertColumn("Name");
        else if (s == "blank expression") core.Expression = "   ";
        else if (s == "expression") core.Expression = "Name";
        else if (s.startsWith("capacity ")) core.CapacityText = s.mid(9);
        else if (s == "check") core.SetChecked("Body", true);
        else if (s == "new") core.DictionaryIndex = 1;
        else if (s.startsWith("new ")) {
            core.DictionaryIndex = 1;
            core.NewDictionaryName = s.mid(4);
        } else if (s == "encrypt") core.DicEncryptionTypComboBoxChange(core.EncryptionItems.indexOf("Rijndael/AES"));
        else if (s == "password") core.DictionaryKey = "secret!";
        else if (s == "existing") core.DictionaryIndex = core.DictionaryItems.indexOf("Other");
        else QFAIL(qPrintable(s));
    }
    QCOMPARE(core.Validate(), messages);
}

void TstIndexDefCore::dictionaryCollation_data() {
    QTest::addColumn<QStringList>("checked");
    QTest::addColumn<QString>("tableCollation");
    QTest::addColumn<QString>("expected");
    // The checked columns count in the list's order (the table's).
    QTest::newRow("one collation") << QStringList({"De1", "De2"}) << "" << "de_DE_ci_as";
    QTest::newRow("two different collations") << QStringList({"De1", "Fr"}) << "" << "Ostra";
    QTest::newRow("the engine's own does not count") << QStringList({"De1", "Own"}) << "" << "de_DE_ci_as";
    QTest::newRow("an inheriting column after one with a collation") << QStringList({"De1", "Plain2"}) << "" << "de_DE_ci_as";
    QTest::newRow("only a column that is not text: the table's") << QStringList({"Num"}) << "sv_SE_cs_as" << "sv_SE_cs_as";
    QTest::newRow("only inheriting columns: the table's") << QStringList({"Plain", "Plain2"}) << "sv_SE_cs_as" << "sv_SE_cs_as";
    // The first value, even an empty one, is what the others are held to.
    QTest::newRow("a collation after a column that is not text") << QStringList({"Num", "De1"}) << "sv_SE_cs_as" << "Ostra";
    QTest::newRow("nothing anywhere") << QStringList({"Plain"}) << "" << "Ostra";
    QTest::newRow("nothing checked: the table's") << QStringList() << "sv_SE_cs_as" << "sv_SE_cs_as";
}

void TstIndexDefCore::dictionaryCollation() {
    QFETCH(QStringList, checked);
    QFETCH(QString, tableCollation);
    QFETCH(QString, expected);
    Db db;
    auto t = db.Table("T", 6,
                      {"Num:3", "Plain:1:20:(default)", "De1:1:20:de_DE_ci_as", "De2:17:0:de_DE_ci_as", "Fr:8:0:fr_FR_ci_as",
                       "Own:16:20:Ostra", "Plain2:8:0:"});
    t->SetCollationName(tableCollation);
    TIndexDefinitionCore core;
    core.SetTable(t.get());
    for (const QString& c : checked) core.SetChecked(c, true);
    QCOMPARE(core.GetDictionaryCollation(), expected);
    QCOMPARE(core.GetIndexHasWidestring(ifFulltext), checked.contains("De2") || checked.contains("Own"));
    QVERIFY(!core.GetIndexHasWidestring(ifAll));
}

void TstIndexDefCore::dictionaryEncryption() {
    {
        Db db;
        auto t = db.Table("T", 6, {"Body:8"});
        TIndexDefinitionCore core;
        core.SetTable(t.get());
        // "Pwd" from "Protection" on; the chosen method is the dictionary's.
        for (int i = 0; i < core.EncryptionItems.size(); ++i) {
            core.DicEncryptionTypComboBoxChange(i);
            const int method = GetEncryptionMethodFromMethodName(core.EncryptionItems[i]);
            QCOMPARE(core.GetDictionaryEncryption(), method);
            QCOMPARE(core.EncryptionKeyEnabled(), method >= emProtection);
        }
        // Below level 4 the strong methods are not offered.
        auto low = db.Table("L", 3, {"Body:8"});
        core.SetTable(low.get());
        QCOMPARE(core.EncryptionItems, QStringList({"Default", "None", "Protection", "Classic"}));
    }
    // A single-file database has one key: a new dictionary takes the database's method.
    Db single(true);
    auto t = single.Table("T", 6, {"Body:8"});
    TIndexDefinitionCore core;
    core.SetTable(t.get());
    QCOMPARE(core.EncryptionItems, QStringList({"Default"}));
    core.DicEncryptionTypComboBoxChange(0);
    QVERIFY(!core.EncryptionKeyEnabled());
    QCOMPARE(core.GetDictionaryEncryption(), int(emDefault));
}

void TstIndexDefCore::fulltextResult() {
    Db db;
    db.Table("Dict", 6, {"Keyword:1:20", "Relevance:5", "RecordId:10"}, true);
    auto t = db.Table("T", 6, {"Title:1:60", "Body:8", "Note:16:40"}, true);
    TIndexDefinitionCore core;
    core.SetTable(t.get());
    // The dictionaries offered: nothing, a new one, then the database's other tables.
    QCOMPARE(core.DictionaryItems, QStringList({"", "(New Dictionary)", "Dict"}));
    QCOMPARE(core.MinRelevance, 50);
    QCOMPARE(core.MaxKeywordLength, 20);
    core.Kind = ikFulltext;
    core.IndexName = "Words";
    core.SetChecked("Body", true);
    core.SetChecked("Title", true);
    core.DictionaryIndex = 2;
    TOstFulltextIndexDef def;
    core.UpdateIndexDef(def);
    QCOMPARE(def.Name, QStringLiteral("Words"));
    QCOMPARE(def.Fields, QStringLiteral("Title;Body")); // in the list's order
    QCOMPARE(def.Dictionary, QStringLiteral("Dict"));
    QCOMPARE(def.MinRelevance, 50);
    QVERIFY(def.Separators.isEmpty()); // the default separators are none of the index's own
    core.Separators = " ,";
    QCOMPARE(core.GetFulltextSeparators(), QStringLiteral(" ,"));
    core.DictionaryIndex = 1;
    core.NewDictionaryName = "  Words ";
    QCOMPARE(core.DictionaryTableName(), QStringLiteral("Words"));
    core.UpdateIndexDef(def);
    QVERIFY(def.Dictionary.isEmpty()); // a new dictionary is pending

    // Editing: the name shown without its extension, kept when it is not changed.
    TOstFulltextIndexDef stored;
    stored.Name = "Words.fti";
    stored.Fields = "Body";
    stored.Dictionary = "Gone";
    TIndexDefinitionCore edit;
    edit.SetTable(t.get());
    edit.ModifyIndexDef(&stored);
    QCOMPARE(edit.IndexName, QStringLiteral("Words"));
    QCOMPARE(edit.DictionaryItems.value(edit.DictionaryIndex), QStringLiteral("Gone")); // shown though missing
    QVERIFY(!edit.KindEnabled(ikHierarchical) && !edit.KindEnabled(ikCalculated));
    edit.SetChecked("Title", true);
    edit.UpdateIndexDef(stored);
    QCOMPARE(stored.Name, QStringLiteral("Words.fti"));
    QCOMPARE(stored.Fields, QStringLiteral("Title;Body"));
}

void TstIndexDefCore::pendingDictionaries() {
    TDictionaries list;
    QVERIFY(!list.FindDictionaryEntry(1));
    TDictionaryItem* first = list.Add("D1", 7, 30, true, " ", "de_DE_ci_as", emRijndael, "pw");
    list.Add("D2", 8, 20, false, "", "Ostra", emNone, "");
    TDictionaryItem* again = list.Add("D3", 7, 40, false, "", "Ostra", emNone, "");
    QCOMPARE(first->Name, QStringLiteral("D1"));
    QCOMPARE(first->MaxKeywordLen, 30);
    QVERIFY(first->Unicode);
    QCOMPARE(first->Separators, QStringLiteral(" "));
    QCOMPARE(first->Collation, QStringLiteral("de_DE_ci_as"));
    QCOMPARE(first->Encryption, int(emRijndael));
    QCOMPARE(first->Key, QStringLiteral("pw"));
    QCOMPARE(list.FindDictionaryEntry(7), first); // the first of that index
    list.DeleteDictionaryEntry(7);
    QCOMPARE(list.FindDictionaryEntry(7), again);
    list.DeleteDictionaryEntry(99); // nothing
    QCOMPARE(list.Count(), 2);
    TDictionaryItem copy;
    copy.Name = "D9";
    copy.IndexID = 9;
    list.SetDictionary(0, copy);
    QCOMPARE(list.GetDictionary(0)->Name, QStringLiteral("D9"));
    QCOMPARE(list.FindDictionaryEntry(9), list.GetDictionary(0));

    // Creating the table of an entry: the layout, the keyword size, the level's rules.
    Db db;
    TDictionaryItem item;
    item.Name = "Lexicon";
    item.MaxKeywordLen = 32768; // as long as the engine's text: 32767
    item.Unicode = true;
    item.Collation = "de_DE_ci_as";
    CreateDictionaryTable(db.location, 6, item);
    TOstTable made;
    made.SetDatabaseName(db.location);
    made.SetTableName("Lexicon");
    made.ReadDefinitions();
    TOstFieldDefs& cols = made.GetFieldDefsOst();
    QCOMPARE(cols.Count(), 3);
    QCOMPARE(cols[0]->GetName(), QStringLiteral("Keyword"));
    QCOMPARE(cols[0]->GetDataTypeOst(), int(dtWideString));
    QCOMPARE(cols[0]->GetSize(), 32767);
    QCOMPARE(cols[1]->GetDataTypeOst(), int(dtWord));
    QCOMPARE(cols[2]->GetDataTypeOst(), int(dtAutoInc));
    for (const TOstFieldDef* c : cols) QVERIFY(!c->GetNullable());
    QCOMPARE(made.IndexDefs().Count(), 1);
    QCOMPARE(made.IndexDefs()[0]->Name, QStringLiteral("sys_primary"));
    QCOMPARE(made.IndexDefs()[0]->Options, ixPrimary | ixUnique);
    QCOMPARE(made.GetCollationName(), QStringLiteral("de_DE_ci_as"));
    // At level 5 there are no collations: the dictionary compares as the engine does.
    item.Name = "Five";
    item.MaxKeywordLen = 10;
    item.Unicode = false;
    CreateDictionaryTable(db.location, 5, item);
    made.SetTableName("Five");
    made.ReadDefinitions();
    QCOMPARE(made.GetFieldDefsOst()[0]->GetDataTypeOst(), int(dtString));
    QCOMPARE(made.GetFieldDefsOst()[0]->GetSize(), 10);
    QVERIFY(made.GetCollationName().isEmpty());
}

void TstIndexDefCore::fileExtensionsAndNoDefinition() {
    TIndexDefinitionCore core;
    QCOMPARE(core.FilterIndexName("By.Name"), QStringLiteral("By.Name"));
    core.SetAllowFileExt(false);
    QCOMPARE(core.FilterIndexName("By.Na.me"), QStringLiteral("ByName"));
    try {
        core.ModifyIndexDef(static_cast<const TIndexDef*>(nullptr));
        QFAIL("no exception");
    } catch (const Exception& e) {
        QCOMPARE(e.Message(), QStringLiteral("No IndexDef given"));
    }
    try {
        core.ModifyIndexDef(static_cast<const TOstFulltextIndexDef*>(nullptr));
        QFAIL("no exception");
    } catch (const Exception& e) {
        QCOMPARE(e.Message(), QStringLiteral("No IndexDef given"));
    }
}

QTEST_GUILESS_MAIN(TstIndexDefCore)
#include "tst_indexdefcore.moc"
