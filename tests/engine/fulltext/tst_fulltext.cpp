// Fulltext indexes through the real engine on real files: kept current by the
// post path and by SQL, across restructures, searched through CONTAINS and
// ostra_search, with their dictionaries.
#include "engine/engine_helper.h"

#include "engine/ostengine.h"
#include "engine/fulltext/ostfulltext.h"

class TstFulltext : public QObject {
    Q_OBJECT
private slots:
    void keptCurrentOnPostAndSql_data() { OST_DATA_LAYOUTS() }
    void keptCurrentOnPostAndSql();
    void survivesRestructure_data() { OST_DATA_LAYOUTS() }
    void survivesRestructure();
    void searchSyntaxAndRanking_data() { OST_DATA_LAYOUTS() }
    void searchSyntaxAndRanking();
    void separatorsCaseAndKeywordSize();
    void minimumRelevance();
    void refusals();
    void deletingIndexesAndTables_data() { OST_DATA_LAYOUTS() }
    void deletingIndexesAndTables();
    void dictionaryCountedPerStatement_data() { OST_DATA_LAYOUTS() }
    void dictionaryCountedPerStatement();
    void columnsOfAnyType();
};

namespace {

// Rows of a query as "a:b c:d" (fields joined by ':', records by ' ').
QString Rows(TestDb& tdb, const QString& sql) {
    TOstQuery q;
    q.SetDatabaseName(tdb.db->GetDatabaseName());
    q.SetSQL(sql);
    q.Open();
    QStringList rows;
    for (q.First(); !q.Eof(); q.Next()) {
        QStringList fields;
        for (int i = 0; i < q.Fields().Count(); ++i) fields << q.Fields()[i]->AsString();
        rows << fields.join(u':');
    }
    return rows.join(u' ');
}

// The ranked hits of the SQL search as "id/relevance ...".
QString Hits(TestDb& tdb, const QString& words, const QString& mode = QStringLiteral("all"), const QString& index = QString()) {
    return Rows(tdb, QStringLiteral("SELECT RecordId || '/' || Relevance FROM ostra_search('Docs', %1, %2, %3)")
                         .arg(OstQuoteString(words), OstQuoteString(index), OstQuoteString(mode)));
}

// The record ids an open table shows under a filter, in its order.
QString Filtered(TOstTable& t, const QString& filter) {
    t.SetFilter(filter);
    t.SetFiltered(true);
    QStringList ids;
    for (t.First(); !t.Eof(); t.Next()) ids << t.FieldByName(QStringLiteral("Id"))->AsString();
    t.SetFiltered(false);
    return ids.join(u' ');
}

QString Dictionary(TestDb& tdb, const QString& name = QStringLiteral("WordsDict")) {
    return Rows(tdb, QStringLiteral("SELECT Keyword, Relevance FROM %1 ORDER BY Keyword").arg(OstQuoteIdent(name)));
}

std::unique_ptr<TOstTable> Docs(TestDb& tdb, int level = OstDefaultTableLevel) {
    auto t = tdb.Table(QStringLiteral("Docs"));
    t->SetTableLevel(level);
    AddColumn(*t, "Id", dtAutoInc);
    AddColumn(*t, "Title", dtString, 60);
    AddColumn(*t, "Body", dtMemo);
    AddColumn(*t, "Note", dtWideString, 40);
    t->CreateTable();
    return t;
}

} // namespace

void TstFulltext::keptCurrentOnPostAndSql() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = Docs(tdb);
    t->Open();
    t->AppendRecord({QVariant(), QStringLiteral("Apple pie"), QStringLiteral("Bake the apple with care.")});
    tdb.Exec("INSERT INTO Docs(Title, Body) VALUES ('Pear tart', 'A pear, sugar and butter')");
    // Built over the rows in place; the dictionary did not exist and is made with the designer's layout.
    t->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Title;Body"), QStringLiteral("WordsDict"),
                         OstDefaultFulltextSeparators);
    QVERIFY(t->Active()); // the component was reopened around the build
    auto dict = tdb.Table(QStringLiteral("WordsDict"));
    dict->ReadDefinitions();
    QCOMPARE(dict->GetFieldDefsOst().Count(), 3);
    QCOMPARE(dict->GetFieldDefsOst()[0]->GetName(), QStringLiteral("Keyword"));
    QCOMPARE(int(dict->GetFieldDefsOst()[0]->GetDataTypeOst()), int(dtString)); // no wide column indexed
    QCOMPARE(dict->GetFieldDefsOst()[0]->GetSize(), 20);
    QCOMPARE(int(dict->GetFieldDefsOst()[1]->GetDataTypeOst()), int(dtWord));
    QCOMPARE(int(dict->GetFieldDefsOst()[2]->GetDataTypeOst()), int(dtAutoInc));
    QCOMPARE(dict->IndexDefs()[0]->Name, QStringLiteral("sys_primary"));
    QCOMPARE(Dictionary(tdb), QStringLiteral("a:1 and:1 apple:1 bake:1 butter:1 care:1 pear:1 pie:1 sugar:1 tart:1 the:1 with:1"));
    QCOMPARE(Hits(tdb, "apple"), QStringLiteral("1/2"));
    QCOMPARE(Hits(tdb, "pear"), QStringLiteral("2/2"));

    // Post path: insert, edit, delete.
    t->AppendRecord({QVariant(), QStringLiteral("Plum cake"), QStringLiteral("plum and apple")});
    QCOMPARE(Hits(tdb, "apple"), QStringLiteral("1/2 3/1"));
    QCOMPARE(Filtered(*t, "CONTAINS('apple')"), QStringLiteral("1 3"));
    t->First();
    t->Edit();
    t->FieldByName(QStringLiteral("Title"))->SetAsString(QStringLiteral("Cherry pie"));
    t->Post();
    QCOMPARE(Hits(tdb, "cherry"), QStringLiteral("1/1"));
    QCOMPARE(Hits(tdb, "apple"), QStringLiteral("1/1 3/1"));
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword IN ('apple', 'cherry', 'pie', 'plum') ORDER BY Keyword"),
             QStringLiteral("2 1 1 1"));
    QVERIFY(t->FindRecordId(2));
    t->Delete();
    QCOMPARE(Hits(tdb, "pear"), QString());
    QCOMPARE(Rows(tdb, "SELECT count(*) FROM WordsDict WHERE Keyword IN ('pear', 'tart', 'sugar')"), QStringLiteral("0"));
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword = 'and'"), QStringLiteral("1"));

    // SQL: insert, update of an indexed column, of another column, of the record id, delete.
    tdb.Exec("INSERT INTO Docs(Title, Body) VALUES ('Fig jam', 'fig fig fig')");
    QCOMPARE(Hits(tdb, "fig"), QStringLiteral("4/4"));
    tdb.Exec("UPDATE Docs SET Body = 'only one fig' WHERE Id = 4");
    QCOMPARE(Hits(tdb, "fig"), QStringLiteral("4/2"));
    QCOMPARE(Hits(tdb, "only"), QStringLiteral("4/1"));
    tdb.Exec("UPDATE Docs SET Note = 'not indexed' WHERE Id = 4");
    QCOMPARE(Hits(tdb, "indexed"), QString());
    tdb.Exec("UPDATE Docs SET Id = 40 WHERE Id = 4");
    QCOMPARE(Hits(tdb, "fig"), QStringLiteral("40/2"));
    tdb.Exec("DELETE FROM Docs WHERE Id = 40");
    QCOMPARE(Hits(tdb, "fig"), QString());
    QCOMPARE(Rows(tdb, "SELECT count(*) FROM WordsDict WHERE Keyword IN ('fig', 'jam', 'only', 'one')"), QStringLiteral("0"));
    // A statement of many rows, then emptying the table.
    tdb.Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) "
             "INSERT INTO Docs(Title, Body) SELECT 'bulk ' || i, 'word' || (i % 7) FROM n");
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword IN ('bulk', 'word3') ORDER BY Keyword"), QStringLiteral("300 43"));
    QCOMPARE(Hits(tdb, "word3").count(u' ') + 1, 43);
    t->Refresh();
    t->EmptyTable(); // built again over no rows
    QCOMPARE(Hits(tdb, "bulk"), QString());
    QCOMPARE(Dictionary(tdb), QString());
    tdb.Exec("INSERT INTO Docs(Title) VALUES ('after emptying')");
    QCOMPARE(Dictionary(tdb), QStringLiteral("after:1 emptying:1"));
    QCOMPARE(Hits(tdb, "after"), QStringLiteral("305/1"));
}

void TstFulltext::survivesRestructure() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = Docs(tdb);
    tdb.Exec("INSERT INTO Docs(Title, Body, Note) VALUES ('red fox', 'quick brown fox', 'north'), "
             "('lazy dog', 'sleeps all day', 'south'), ('fox den', 'dug by a fox, fox', 'east')");
    t->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Title;Body"), QStringLiteral("WordsDict"), QString());
    t->AddFulltextIndex2(QStringLiteral("Notes.fti"), QStringLiteral("Note"), QStringLiteral("NotesDict"), QString());
    // A dictionary of one index is set exactly whenever its index is built: damage is repaired.
    tdb.Exec("DELETE FROM WordsDict WHERE Keyword = 'quick'");
    tdb.Exec("INSERT INTO WordsDict(Keyword, Relevance) VALUES ('junk', 7)");
    tdb.Exec("UPDATE WordsDict SET Relevance = 9 WHERE Keyword = 'dog'");
    const QString keywordIds = Rows(tdb, "SELECT Keyword, RecordId FROM WordsDict WHERE Keyword <> 'junk' ORDER BY Keyword");

    // Body renamed and moved, Note dropped, a column added: a rebuild of the table.
    t->ReadDefinitions();
    TOstFieldDefs& f = t->GetFieldDefsOst();
    f[2]->SetName(QStringLiteral("Text"));
    f.Delete(3);
    AddColumn(*t, "Extra", dtInteger);
    t->AlterTable();
    t->ReadDefinitions();
    QCOMPARE(t->FulltextIndexDefs().Count(), 1); // the index over the dropped column went
    QCOMPARE(t->FulltextIndexDefs()[0]->Fields, QStringLiteral("Title;Text"));
    QCOMPARE(Hits(tdb, "fox"), QStringLiteral("3/3 1/2"));
    QCOMPARE(Raised([&] { Hits(tdb, "north", "all", "Notes.fti"); }).Message(),
             QStringLiteral("SQL error: ostra_search: Fulltext index \"Notes.fti\" does not exist in table \"Docs\""));
    // Unchanged words keep their dictionary rows; the dropped index's words left its dictionary.
    QCOMPARE(Rows(tdb, "SELECT Keyword, RecordId FROM WordsDict WHERE Keyword <> 'quick' ORDER BY Keyword"), keywordIds);
    QCOMPARE(Dictionary(tdb), QStringLiteral("a:1 all:1 brown:1 by:1 day:1 den:1 dog:1 dug:1 fox:2 lazy:1 quick:1 red:1 sleeps:1"));
    QCOMPARE(Dictionary(tdb, "NotesDict"), QString());

    // Rows changed after the restructure are found as they should be, through the renamed column.
    tdb.Exec("INSERT INTO Docs(Title, Text) VALUES ('grey wolf', 'a fox cousin')");
    tdb.Exec("UPDATE Docs SET Text = 'sleeps all night' WHERE Id = 2");
    tdb.Exec("DELETE FROM Docs WHERE Id = 1");
    QCOMPARE(Hits(tdb, "fox"), QStringLiteral("3/3 4/1"));
    QCOMPARE(Hits(tdb, "night"), QStringLiteral("2/1"));
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword IN ('day', 'fox', 'quick')"), QStringLiteral("2"));
    t->Open();
    QCOMPARE(Filtered(*t, "CONTAINS(Text, 'fox')"), QStringLiteral("3 4"));
    t->Close();

    // A restructure that only changes a definition keeps the index as it is.
    t->ReadDefinitions();
    t->SetCapacity(2000);
    t->AlterTable();
    QCOMPARE(Hits(tdb, "fox"), QStringLiteral("3/3 4/1"));
}

void TstFulltext::searchSyntaxAndRanking() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = Docs(tdb);
    tdb.Exec("INSERT INTO Docs(Title, Body, Note) VALUES "
             "('alpha', 'beta gamma', 'delta'), "            // 1
             "('beta', 'beta beta gamma', NULL), "            // 2
             "('gamma ray', 'alphabet soup', 'alpha'), "      // 3
             "('epsilon', NULL, 'beta')");                    // 4
    t->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Title;Body"), QStringLiteral("WordsDict"), QString());
    t->AddFulltextIndex2(QStringLiteral("Notes.fti"), QStringLiteral("Note"), QStringLiteral("NotesDict"), QString());
    // All words by default, ranked by relevance then record id.
    QCOMPARE(Hits(tdb, "beta gamma"), QStringLiteral("2/4 1/2"));
    QCOMPARE(Hits(tdb, "beta"), QStringLiteral("2/3 1/1"));
    // Any word: as a mode, or OR between two words.
    QCOMPARE(Hits(tdb, "alpha epsilon", "any"), QStringLiteral("1/1 4/1"));
    QCOMPARE(Hits(tdb, "alpha OR epsilon"), QStringLiteral("1/1 4/1"));
    QCOMPARE(Hits(tdb, "gamma alpha OR ray"), QStringLiteral("1/2 3/2"));
    QCOMPARE(Hits(tdb, "alpha or epsilon"), QString()); // a lower-case "or" is a word
    // Prefixes.
    QCOMPARE(Hits(tdb, "alpha*"), QStringLiteral("1/1 3/1"));
    QCOMPARE(Hits(tdb, "gam* bet*"), QStringLiteral("2/4 1/2"));
    // The index chosen by name.
    QCOMPARE(Hits(tdb, "alpha", "all", "Notes.fti"), QStringLiteral("3/1"));

    // CONTAINS in filters: ranked where no index orders the table.
    t->Open();
    QCOMPARE(Filtered(*t, "CONTAINS('beta')"), QStringLiteral("2 1"));
    QCOMPARE(Filtered(*t, "CONTAINS('alpha epsilon', 'any')"), QStringLiteral("1 4"));
    QCOMPARE(Filtered(*t, "CONTAINS(Body, 'gamma')"), QStringLiteral("1 2"));
    QCOMPARE(Filtered(*t, "CONTAINS(Note, 'alpha')"), QStringLiteral("3"));   // the index that holds the column
    QCOMPARE(Filtered(*t, "CONTAINS('ga*') and Id > 1"), QStringLiteral("2 3"));
    QCOMPARE(Filtered(*t, "not CONTAINS('gamma') or CONTAINS('epsilon')"), QStringLiteral("4"));
    t->SetFulltextIndexName(QStringLiteral("Notes.fti"));
    QCOMPARE(Filtered(*t, "CONTAINS('beta')"), QStringLiteral("4"));
    t->SetFilter(QStringLiteral("CONTAINS('alpha*')"));
    t->SetFiltered(true);
    QCOMPARE(t->RecordCount(), 1);
    t->SetFulltextIndexName(QString()); // an open filtered table filters again
    QCOMPARE(t->RecordCount(), 2);
    t->SetFiltered(false);

    // Mistakes are reported with their position or their cause.
    auto filterError = [&](const QString& filter) {
        t->SetFilter(filter);
        const EOstraError e = Raised([&] { t->SetFiltered(true); });
        t->SetFiltered(false);
        return QStringLiteral("%1 %2").arg(e.ErrorCode()).arg(e.Message());
    };
    QCOMPARE(filterError("CONTAINS(' ,. ')"),
             QStringLiteral("-12 Filter error at position 1: The search text \" ,. \" holds no word to search for"));
    QCOMPARE(filterError("CONTAINS(Id, 'x')"),
             QStringLiteral("-12 Filter error at position 1: Column \"Id\" is not part of a fulltext index of table \"Docs\""));
    QCOMPARE(filterError("CONTAINS('x', 'some')"), QStringLiteral("-12 Filter error at position 15: the mode of CONTAINS is 'any' or 'all'"));
    QCOMPARE(filterError("CONTAINS(Body 'x')"), QStringLiteral("-12 Filter error at position 15: expected ',' after 'Body', found the string 'x'"));
    t->SetFulltextIndexName(QStringLiteral("Nope.fti"));
    QCOMPARE(filterError("CONTAINS('x')"),
             QStringLiteral("-12 Filter error at position 1: Fulltext index \"Nope.fti\" does not exist in table \"Docs\""));
    t->Close();
    QCOMPARE(Raised([&] { Hits(tdb, "x", "some"); }).Message(), QStringLiteral("SQL error: ostra_search: the mode is 'any' or 'all', not 'some'"));
    QCOMPARE(Raised([&] { Rows(tdb, "SELECT * FROM ostra_search('Nope', 'x')"); }).Message(),
             QStringLiteral("SQL error: ostra_search: table \"Nope\" does not exist"));
    // Queries filter their rows without fulltext; the SQL form joins the table.
    TOstQuery q;
    q.SetDatabaseName(tdb.db->GetDatabaseName());
    q.SetSQL(QStringLiteral("SELECT d.Title, s.Relevance FROM ostra_search('Docs', 'beta') AS s JOIN Docs AS d ON d.Id = s.RecordId"));
    q.Open();
    QCOMPARE(q.RecordCount(), 2);
    q.SetFilter(QStringLiteral("CONTAINS('beta')"));
    QVERIFY(Raised([&] { q.SetFiltered(true); }).Message().contains(QStringLiteral("CONTAINS needs a table with a fulltext index")));
}

void TstFulltext::separatorsCaseAndKeywordSize() {
    TestDb tdb(true);
    // A dictionary of the designer's layout with short keywords.
    auto dict = tdb.Table(QStringLiteral("ShortDict"));
    AddColumn(*dict, "Keyword", dtWideString, 10, false);
    AddColumn(*dict, "Relevance", dtWord, 0, false);
    AddColumn(*dict, "RecordId", dtAutoInc);
    dict->IndexDefs().Add(QStringLiteral("sys_primary"), QStringLiteral("RecordId"), ixPrimary | ixUnique);
    dict->CreateTable();
    auto t = Docs(tdb);
    tdb.Exec("INSERT INTO Docs(Title, Body, Note) VALUES ('Internationalization', 'APPLE pie;plum-tart', 'Über Straße'), "
             "('internationalize it', 'apple  pie;x', 'über')");
    // Own separators: only ';' splits, so "apple pie" is one keyword; case is folded.
    t->AddFulltextIndex2(QStringLiteral("Own.fti"), QStringLiteral("Body"), QStringLiteral("OwnDict"), QStringLiteral(";"));
    QCOMPARE(Dictionary(tdb, "OwnDict"), QStringLiteral("apple  pie:1 apple pie:1 plum-tart:1 x:1"));
    QCOMPARE(Hits(tdb, "APPLE PIE", "all", "Own.fti"), QStringLiteral("1/1"));
    QCOMPARE(Hits(tdb, "plum-tart;x", "any", "Own.fti"), QStringLiteral("1/1 2/1"));
    t->ReadDefinitions();
    QCOMPARE(t->FulltextIndexDefs()[0]->Separators, QStringLiteral(";"));
    // Keywords are cut to the dictionary's size; wide text is folded as well.
    t->AddFulltextIndex2(QStringLiteral("Short.fti"), QStringLiteral("Title;Note"), QStringLiteral("ShortDict"), QString());
    QCOMPARE(Dictionary(tdb, "ShortDict"), QStringLiteral("internatio:2 it:1 straße:1 über:2"));
    QCOMPARE(Hits(tdb, "internationalization", "all", "Short.fti"), QStringLiteral("1/1 2/1"));
    QCOMPARE(Hits(tdb, "ÜBER straße", "all", "Short.fti"), QStringLiteral("1/2"));
    // A dictionary made for wide columns is wide.
    t->AddFulltextIndex2(QStringLiteral("Note.fti"), QStringLiteral("Note"), QStringLiteral("NoteDict"), QString());
    QCOMPARE(Rows(tdb, "SELECT count(*) FROM Docs"), QStringLiteral("2"));
    auto noteDict = tdb.Table(QStringLiteral("NoteDict"));
    noteDict->ReadDefinitions();
    QCOMPARE(int(noteDict->GetFieldDefsOst()[0]->GetDataTypeOst()), int(dtWideString));
    // The word splitter the engine exports splits as the index does.
    QCOMPARE(OstFulltextWords(QStringLiteral("Hello, WORLD! it's (x)"), OstDefaultFulltextSeparators, 3),
             QStringList({"hel", "wor", "it", "s", "x"}));
}

void TstFulltext::minimumRelevance() {
    TestDb tdb(false);
    auto t = Docs(tdb);
    tdb.Exec("INSERT INTO Docs(Title, Body) VALUES ('echo', 'once'), ('echo echo', 'twice'), ('echo', 'echo echo thrice'), "
             "('echo echo', 'echo echo echo echo echo echo echo echo')");
    t->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Title;Body"), QStringLiteral("WordsDict"), QString());
    QCOMPARE(Hits(tdb, "echo"), QStringLiteral("4/10 3/3 2/2 1/1"));
    // The minimum relevance is a share of the best hit's relevance, in
    // percent; changing it changes a definition only, searches honour it at once.
    t->ReadDefinitions();
    t->FulltextIndexDefs()[0]->MinRelevance = 30;
    t->AlterTable();
    t->ReadDefinitions();
    QCOMPARE(t->FulltextIndexDefs()[0]->MinRelevance, 30);
    QCOMPARE(Hits(tdb, "echo"), QStringLiteral("4/10 3/3")); // 3 of 10 reaches 30 %, 2 does not
    QCOMPARE(Hits(tdb, "once"), QStringLiteral("1/1"));       // the best hit is always found
    QCOMPARE(Hits(tdb, "echo once"), QStringLiteral("1/2"));  // the relevances of the words add up
    QCOMPARE(Hits(tdb, "echo OR once"), QStringLiteral("4/10 3/3"));
    t->Open();
    QCOMPARE(Filtered(*t, "CONTAINS('echo')"), QStringLiteral("4 3"));
    QCOMPARE(Filtered(*t, "CONTAINS('twice OR thrice')"), QStringLiteral("2 3"));
    t->Close();
    // 0 finds every record holding the words; 100 only the most relevant ones.
    t->ReadDefinitions();
    t->FulltextIndexDefs()[0]->MinRelevance = 100;
    t->AlterTable();
    QCOMPARE(Hits(tdb, "echo"), QStringLiteral("4/10"));
    // A definition of the same name held by the component gives AddFulltextIndex2 its minimum.
    t->ReadDefinitions();
    t->FulltextIndexDefs().Add(QStringLiteral("Titles.fti"), QString(), QString())->MinRelevance = 0;
    t->AddFulltextIndex2(QStringLiteral("Titles.fti"), QStringLiteral("Title"), QStringLiteral("WordsDict"), QString());
    QCOMPARE(Hits(tdb, "echo", "all", "Titles.fti"), QStringLiteral("2/2 4/2 1/1 3/1"));
    // The shared dictionary counts the records of both indexes.
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword = 'echo'"), QStringLiteral("8"));
}

void TstFulltext::refusals() {
    TestDb tdb(true);
    auto low = tdb.Table(QStringLiteral("Old"));
    low->SetTableLevel(3);
    AddColumn(*low, "Body", dtMemo, 0, false);
    low->CreateTable();
    EOstraError e = Raised([&] { low->AddFulltextIndex2(QStringLiteral("W.fti"), QStringLiteral("Body"), QStringLiteral("D"), QString()); });
    QCOMPARE(e.ErrorCode(), OstErr::LevelViolation);
    QCOMPARE(e.Message(), QStringLiteral("Fulltext index \"W.fti\": fulltext indexes need table level 4 or higher"));
    QVERIFY(!tdb.db->TableExists(QStringLiteral("D"))); // refused before anything was made

    auto five = Docs(tdb, 5);
    e = Raised([&] { five->AddFulltextIndex2(QStringLiteral("W.fti"), QStringLiteral("Body"), QStringLiteral("D"), QStringLiteral(" ,")); });
    QCOMPARE(e.ErrorCode(), OstErr::LevelViolation);
    QCOMPARE(e.Message(), QStringLiteral("Fulltext index \"W.fti\": own separators need table level 6 or higher"));
    // The default separators are no separators of the index's own.
    five->AddFulltextIndex2(QStringLiteral("W.fti"), QStringLiteral("Body"), QStringLiteral("D"), OstDefaultFulltextSeparators);
    QCOMPARE(Raised([&] { five->AddFulltextIndex2(QStringLiteral("w.FTI"), QStringLiteral("Body"), QStringLiteral("D"), QString()); }).ErrorCode(),
             OstErr::AlreadyExists);
    QCOMPARE(Raised([&] { five->AddFulltextIndex2(QStringLiteral("X.fti"), QStringLiteral("Nope"), QStringLiteral("D"), QString()); }).Message(),
             QStringLiteral("Fulltext index \"X.fti\": column \"Nope\" does not exist"));
    QCOMPARE(Raised([&] { five->AddFulltextIndex2(QStringLiteral("X.fti"), QStringLiteral("Body"), QStringLiteral("Old"), QString()); }).Message(),
             QStringLiteral("Table \"Old\" cannot be the dictionary of fulltext index \"X.fti\": a dictionary has the columns "
                            "Keyword (text), Relevance (dtWord) and RecordId (dtAutoInc)"));
    QCOMPARE(Raised([&] { five->AddFulltextIndex2(QStringLiteral("X.fti"), QStringLiteral("Body"), QStringLiteral("Docs"), QString()); }).Message(),
             QStringLiteral("Fulltext index \"X.fti\": table \"Docs\" cannot be its own dictionary"));
    QCOMPARE(Raised([&] { five->DeleteFulltextIndex(QStringLiteral("Nope.fti")); }).ErrorCode(), OstErr::NotFound);
    // A dictionary in use cannot be deleted.
    auto d = tdb.Table(QStringLiteral("D"));
    e = Raised([&] { d->DeleteTable(); });
    QCOMPARE(e.Message(), QStringLiteral("Table \"D\" cannot be deleted: it is the dictionary of fulltext index \"W.fti\" of table \"Docs\""));
    QVERIFY(tdb.db->TableExists(QStringLiteral("D")));
}

void TstFulltext::deletingIndexesAndTables() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = Docs(tdb);
    auto other = tdb.Table(QStringLiteral("Other"));
    AddColumn(*other, "Id", dtAutoInc);
    AddColumn(*other, "Text", dtMemo);
    other->CreateTable();
    tdb.Exec("INSERT INTO Docs(Title, Body) VALUES ('shared word', 'mine')");
    tdb.Exec("INSERT INTO Other(Text) VALUES ('shared other')");
    t->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Title;Body"), QStringLiteral("WordsDict"), QString());
    other->AddFulltextIndex2(QStringLiteral("Other.fti"), QStringLiteral("Text"), QStringLiteral("WordsDict"), QString());
    QCOMPARE(Dictionary(tdb), QStringLiteral("mine:1 other:1 shared:2 word:1"));
    QStringList names;
    tdb.db->GetTableNames(names, false);
    QCOMPARE(names, QStringList({"Docs", "Other", "WordsDict"})); // a dictionary is listed like any table

    // Deleting an index takes its words out of the shared dictionary; the table goes on without it.
    t->DeleteFulltextIndex(QStringLiteral("words.FTI"));
    QCOMPARE(Dictionary(tdb), QStringLiteral("other:1 shared:1"));
    QCOMPARE(Raised([&] { Hits(tdb, "shared"); }).Message(), QStringLiteral("SQL error: ostra_search: Table \"Docs\" has no fulltext index"));
    tdb.Exec("INSERT INTO Docs(Title) VALUES ('shared again')");
    tdb.Exec("DELETE FROM Docs");
    QCOMPARE(Dictionary(tdb), QStringLiteral("other:1 shared:1"));
    t->ReadDefinitions();
    QCOMPARE(t->FulltextIndexDefs().Count(), 0);
    QVERIFY(tdb.db->TableExists(QStringLiteral("WordsDict"))); // the dictionary stays

    // A renamed dictionary is followed; deleting the indexed table empties it of that table's words.
    auto dict = tdb.Table(QStringLiteral("WordsDict"));
    dict->RenameTable(QStringLiteral("Lexicon"));
    other->ReadDefinitions();
    QCOMPARE(other->FulltextIndexDefs()[0]->Dictionary, QStringLiteral("Lexicon"));
    tdb.Exec("INSERT INTO Other(Text) VALUES ('fresh')");
    QCOMPARE(Dictionary(tdb, "Lexicon"), QStringLiteral("fresh:1 other:1 shared:1"));
    other->RenameTable(QStringLiteral("Renamed")); // an indexed table renamed keeps its index
    tdb.Exec("UPDATE Renamed SET Text = 'fresh again' WHERE Id = 2");
    QCOMPARE(Rows(tdb, "SELECT RecordId || '/' || Relevance FROM ostra_search('Renamed', 'fresh')"), QStringLiteral("2/1"));
    QCOMPARE(Dictionary(tdb, "Lexicon"), QStringLiteral("again:1 fresh:1 other:1 shared:1"));
    other->DeleteTable();
    QCOMPARE(Dictionary(tdb, "Lexicon"), QString());
    dict->SetTableName(QStringLiteral("Lexicon"));
    dict->DeleteTable(); // no longer in use
    QVERIFY(!tdb.db->TableExists(QStringLiteral("Lexicon")));
}

// The dictionary is written once a statement is through: exact after every
// statement, whatever the statement or transaction that failed around it.
void TstFulltext::dictionaryCountedPerStatement() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = Docs(tdb);
    t->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Title;Body"), QStringLiteral("WordsDict"), QString());
    // One statement of many rows; a word twice in a record counts once.
    tdb.Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500) "
             "INSERT INTO Docs(Title, Body) SELECT 'tea ' || (i % 5), 'tea and cake ' || i FROM n");
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword IN ('tea', 'cake', '3', '500') ORDER BY Keyword"),
             QStringLiteral("100 1 500 500"));
    // A script with its own transaction: each statement sees the counts of the ones before.
    tdb.Exec("BEGIN; DELETE FROM Docs WHERE Id <= 100; "
             "INSERT INTO Docs(Title) SELECT Relevance || ' left' FROM WordsDict WHERE Keyword = 'cake'; COMMIT");
    QCOMPARE(Rows(tdb, "SELECT Title FROM Docs WHERE Id = 501"), QStringLiteral("400 left"));
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword IN ('cake', 'left', '400') ORDER BY Keyword"),
             QStringLiteral("2 400 1"));
    // A statement that fails part-way changes nothing, its counts neither.
    auto q = std::make_unique<TOstQuery>();
    q->SetDatabaseName(tdb.db->GetDatabaseName());
    q->SetSQL("UPDATE Docs SET Body = 'changed', Id = CASE WHEN Id = 300 THEN 301 ELSE Id END WHERE Id >= 200");
    QVERIFY(Raised([&] { q->ExecSQL(); }).ErrorCode() != 0);
    QCOMPARE(Rows(tdb, "SELECT count(*) FROM WordsDict WHERE Keyword = 'changed'"), QStringLiteral("0"));
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword = 'cake'"), QStringLiteral("400"));
    // ... also inside a transaction that goes on: the statement is undone, the transaction not.
    tdb.db->StartTransaction();
    tdb.Exec("INSERT INTO Docs(Title) VALUES ('kept')");
    QVERIFY(Raised([&] { q->ExecSQL(); }).ErrorCode() != 0);
    tdb.Exec("DELETE FROM Docs WHERE Id = 200");
    tdb.db->Commit();
    QCOMPARE(Rows(tdb, "SELECT Keyword || ':' || Relevance FROM WordsDict WHERE Keyword IN ('kept', 'changed', 'cake') ORDER BY 1"),
             QStringLiteral("cake:399 kept:1"));
    // A transaction rolled back takes its counts along.
    tdb.db->StartTransaction();
    tdb.Exec("INSERT INTO Docs(Title) VALUES ('gone again')");
    tdb.db->Rollback();
    QCOMPARE(Rows(tdb, "SELECT count(*) FROM WordsDict WHERE Keyword IN ('gone', 'again')"), QStringLiteral("0"));
    // The posts of a table component, one transaction each.
    t->Open();
    t->AppendRecord({QVariant(), QStringLiteral("posted tea")});
    QCOMPARE(Rows(tdb, "SELECT Relevance FROM WordsDict WHERE Keyword IN ('posted', 'tea') ORDER BY Keyword"), QStringLiteral("1 400"));
    // The counts equal the words of the records, keyword by keyword.
    const QString hex = QString::fromLatin1(OstDefaultFulltextSeparators.toUtf8().toHex());
    QCOMPARE(Rows(tdb, QStringLiteral("SELECT count(*) FROM WordsDict AS k WHERE k.Relevance <> (SELECT count(*) FROM Docs AS d "
                                      "WHERE EXISTS (SELECT 1 FROM json_each(ostra_words(20, '%1', d.Title, d.Body)) "
                                      "WHERE value = k.Keyword))")
                           .arg(hex)),
             QStringLiteral("0"));
}

// A column that is not text is indexed as it reads as text.
void TstFulltext::columnsOfAnyType() {
    TestDb tdb(false);
    auto t = tdb.Table(QStringLiteral("Docs"));
    AddColumn(*t, "Id", dtAutoInc);
    AddColumn(*t, "Pages", dtInteger);
    AddColumn(*t, "Issued", dtDate);
    t->CreateTable();
    tdb.Exec("INSERT INTO Docs(Pages, Issued) VALUES (12, '2024-05-01'), (300, '2023-01-12')");
    t->AddFulltextIndex2(QStringLiteral("Numbers"), QStringLiteral("Pages;Issued"), QStringLiteral("WordsDict"), QString());
    QCOMPARE(Hits(tdb, "12"), QStringLiteral("1/1 2/1"));
    QCOMPARE(Hits(tdb, "300"), QStringLiteral("2/1"));
    QCOMPARE(Hits(tdb, "2024"), QStringLiteral("1/1"));
}

QTEST_GUILESS_MAIN(TstFulltext)
#include "tst_fulltext.moc"
