// Databases: creation in both layouts, the registry behind FindOstDatabase and
// GetOstDatabase, catalog settings, system tables, index statistics and queries.
#include "engine_helper.h"

class TstDatabase : public QObject {
    Q_OBJECT
private slots:
    void createAndRegistry();
    void managedSettingsAndSystemTables_data() { OST_DATA_LAYOUTS() }
    void managedSettingsAndSystemTables();
    void indexInfo();
    void queriesAndParameters_data() { OST_DATA_LAYOUTS() }
    void queriesAndParameters();
    void sameDatabaseNameInTwoModules();
};

void TstDatabase::createAndRegistry() {
    QTemporaryDir dir;
    const int before = [] { int n = 0; while (GetOstDatabase(n)) ++n; return n; }();
    TOstDatabase a, b;
    a.SetDatabaseName(QStringLiteral("Sales"));
    b.SetDatabaseName(QStringLiteral("Stock"));
    QCOMPARE(FindOstDatabase(QStringLiteral("sales")), &a);
    QCOMPARE(GetOstDatabase(before), &a);
    QCOMPARE(GetOstDatabase(before + 1), &b);
    QCOMPARE(GetOstDatabase(before + 2), nullptr);

    a.SetDatabaseType(dbtSingleFile);
    a.SetLocation(dir.filePath(QStringLiteral("sales"))); // the extension is completed
    a.CreateDatabase();
    QVERIFY(QFileInfo::exists(dir.filePath(QStringLiteral("sales.ostd"))));
    QVERIFY(a.GetConnected());
    a.SetConnected(false);
    QCOMPARE(Raised([&] { a.CreateDatabase(); }).ErrorCode(), OstErr::AlreadyExists);

    b.SetLocation(dir.filePath(QStringLiteral("missing")));
    QCOMPARE(Raised([&] { b.Open(); }).ErrorCode(), OstErr::NotFound);
    QFile junk(dir.filePath(QStringLiteral("junk.ostd")));
    QVERIFY(junk.open(QIODevice::WriteOnly));
    junk.write(QByteArray(4096, 'x'));
    junk.close();
    TOstDatabase c;
    c.SetLocation(junk.fileName());
    QVERIFY(Raised([&] { c.Open(); }).ErrorCode() != 0);
    {
        TOstDatabase d;
        d.SetDatabaseName(QStringLiteral("Temp"));
    }
    QCOMPARE(FindOstDatabase(QStringLiteral("Temp")), nullptr);
}

void TstDatabase::managedSettingsAndSystemTables() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile, true);
    tdb.db->SetConnected(false);
    tdb.db->SetEncryptionMethod(emNone);
    tdb.db->SetManaged(false);
    tdb.db->SetConnected(true);
    QCOMPARE(tdb.db->GetManaged(), true); // the stored catalog wins

    auto dict = tdb.Table(QStringLiteral("WordsDict"));
    AddColumn(*dict, "Keyword", dtString, 20, false);
    AddColumn(*dict, "Relevance", dtWord, 0, false);
    AddColumn(*dict, "RecordId", dtAutoInc);
    dict->IndexDefs().Add(QStringLiteral("sys_primary"), QStringLiteral("RecordId"), ixPrimary | ixUnique);
    dict->CreateTable();
    auto docs = tdb.Table(QStringLiteral("Docs"));
    AddColumn(*docs, "Body", dtMemo);
    docs->CreateTable();
    docs->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Body"), QStringLiteral("WordsDict"), OstDefaultFulltextSeparators);
    QStringList names;
    // A dictionary is a table of its own: listed, so that another index can
    // use it and a new table is not given its name.
    tdb.db->GetTableNames(names, false);
    QCOMPARE(names, QStringList({"Docs", "WordsDict"}));
    docs->ReadDefinitions();
    QCOMPARE(docs->FulltextIndexDefs()[0]->Dictionary, QStringLiteral("WordsDict"));
    QVERIFY(docs->FulltextIndexDefs()[0]->Separators.isEmpty()); // the default is not stored
    docs->DeleteFulltextIndex(QStringLiteral("Words.fti"));
    tdb.db->GetTableNames(names, false);
    QCOMPARE(names.size(), 2);
}

void TstDatabase::indexInfo() {
    TestDb tdb(false);
    auto t = tdb.Table(QStringLiteral("Stats"));
    t->SetCapacity(25000);
    AddColumn(*t, "Name", dtString, 30);
    AddColumn(*t, "Qty", dtInteger);
    t->CreateTable();
    t->AddIndex(QStringLiteral("ByNameQty"), QStringLiteral("Name;-Qty"), ixUnique);
    t->ReadDefinitions();
    QCOMPARE(t->IndexDefs()[0]->DescFields, QStringLiteral("Qty"));
    tdb.Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
             "INSERT INTO Stats SELECT 'name' || i, i FROM n");
    const uint16_t rel = OstSessFindRltnHdl(tdb.db->SessionHandle(), QStringLiteral("Stats"));
    QVERIFY(rel != 0);
    QCOMPARE(OstSessFindRltnHdl(tdb.db->SessionHandle(), QStringLiteral("Stats.dat")), rel);
    QCOMPARE(OstSessFindRltnHdl(tdb.db->SessionHandle(), QStringLiteral("Nope")), uint16_t(0));
    TOstIndexInfoBlock info;
    QCOMPARE(OstIndexGetInfo(rel, QStringLiteral("ByNameQty"), info), 0);
    QCOMPARE(info.KeySize, uint16_t(8 + 31 + 4));
    QCOMPARE(info.Capacity, uint64_t(25000));
    QCOMPARE(info.PageSize, uint32_t(4096));
    QVERIFY(info.PageCount > 1);
    QVERIFY(OstIndexGetInfo(rel, QStringLiteral("Nope"), info) != 0);
    t->DeleteIndex(QStringLiteral("bynameqty")); // found without regard to case
    QCOMPARE(Raised([&] { t->DeleteIndex(QStringLiteral("ByNameQty")); }).ErrorCode(), OstErr::NotFound);

    // From level 4 on every index has the table's capacity; below, its own.
    t->AddIndex(QStringLiteral("ByQty"), QStringLiteral("Qty"), TIndexOptions(), QString(), 5000000);
    QCOMPARE(OstIndexGetInfo(rel, QStringLiteral("ByQty"), info), 0);
    QCOMPARE(info.Capacity, uint64_t(25000));
    QCOMPARE(info.KeySize, uint16_t(8 + 4));
    auto old = tdb.Table(QStringLiteral("Old"));
    old->SetTableLevel(3);
    AddColumn(*old, "Code", dtString, 10, false);
    old->CreateTable();
    old->AddIndex(QStringLiteral("ByCode"), QStringLiteral("Code"), TIndexOptions(), QString(), 5000000);
    old->AddIndex(QStringLiteral("Plain"), QStringLiteral("Code:4"), TIndexOptions());
    old->ReadDefinitions();
    QCOMPARE(old->IndexDefs().Find(QStringLiteral("ByCode"))->Capacity, 5000000);
    const uint16_t oldRel = OstSessFindRltnHdl(tdb.db->SessionHandle(), QStringLiteral("Old"));
    QCOMPARE(OstIndexGetInfo(oldRel, QStringLiteral("ByCode"), info), 0);
    QCOMPARE(info.Capacity, uint64_t(5000000));
    QCOMPARE(OstIndexGetInfo(oldRel, QStringLiteral("Plain"), info), 0);
    QCOMPARE(info.Capacity, uint64_t(old->GetCapacity()));
    QCOMPARE(info.KeySize, uint16_t(8 + 5)); // the key length counts, not the column's size
    QCOMPARE(Raised([&] { old->AddIndex(QStringLiteral("Tiny"), QStringLiteral("Code"), TIndexOptions(), QString(), 10); }).Message(),
             QStringLiteral("Index \"Tiny\": capacity must be within 1000 and 2147483647"));
}

void TstDatabase::queriesAndParameters() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    for (const QString& n : {QStringLiteral("A"), QStringLiteral("B")}) {
        auto t = tdb.Table(n);
        AddColumn(*t, "K", dtInteger);
        AddColumn(*t, "V", dtString, 10);
        t->CreateTable();
    }
    TOstQuery q;
    q.SetDatabaseName(tdb.db->GetDatabaseName());
    q.SetSQL(QStringLiteral("INSERT INTO A VALUES(1, 'x'), (2, 'y'); INSERT INTO B VALUES(:k, :v)"));
    q.SetParam(QStringLiteral("k"), 2);
    q.SetParam(QStringLiteral("v"), QStringLiteral("joined"));
    q.ExecSQL();
    QCOMPARE(q.RowsAffected(), 3);
    q.SetSQL(QStringLiteral("SELECT A.V, B.V AS W FROM A JOIN B ON A.K = B.K"));
    q.Open();
    QCOMPARE(q.RecordCount(), 1);
    QCOMPARE(q.FieldByName("W")->AsString(), QStringLiteral("joined"));
    q.Close();
    q.SetSQL(QStringLiteral("SELECT * FROM A"));
    q.SetFilter(QStringLiteral("K > 1"));
    q.SetFiltered(true);
    q.Open();
    QCOMPARE(q.RecordCount(), 1);
    QVERIFY_THROWS_EXCEPTION(EDatabaseError, q.Edit()); // query results are read-only
    q.Close();
    // A script with its own transaction runs as written; a failing one changes nothing.
    q.Close();
    q.SetSQL(QStringLiteral("BEGIN; INSERT INTO A VALUES(3, 'z'); COMMIT;"));
    q.ExecSQL();
    q.SetSQL(QStringLiteral("BEGIN; INSERT INTO A VALUES(4, 'w'); INSERT INTO A VALUES('x', 'bad'); COMMIT;"));
    QVERIFY(Raised([&] { q.ExecSQL(); }).ErrorCode() != 0);
    QCOMPARE(tdb.Scalar("SELECT group_concat(K) FROM A").toString(), QStringLiteral("1,2,3"));
    QVERIFY(!tdb.db->InTransaction());
    q.SetSQL(QStringLiteral("SELEC nonsense"));
    QCOMPARE(Raised([&] { q.Open(); }).ErrorCode(), OstErr::Sql);
    q.SetSQL(QStringLiteral("SELECT * FROM A WHERE K = :missing"));
    q.SetFiltered(false);
    QVERIFY(Raised([&] { q.Open(); }).Message().contains("missing"));
}

void TstDatabase::sameDatabaseNameInTwoModules() {
    // Two modules, each with a database "Shop" somewhere else: a table opens
    // on the database of its own module.
    TestDb first(false), second(true);
    for (TestDb* t : {&first, &second}) {
        auto table = t->Table(QStringLiteral("Where"));
        AddColumn(*table, QStringLiteral("Place"), dtString, 20);
        table->CreateTable();
        t->Exec(QStringLiteral("INSERT INTO \"Where\" VALUES ('%1')").arg(t == &first ? "first" : "second"));
    }
    TComponent moduleA, moduleB;
    for (auto [module, t] : {std::pair{&moduleA, &first}, std::pair{&moduleB, &second}}) {
        auto* db = new TOstDatabase(module);
        db->SetDatabaseName(QStringLiteral("Shop"));
        db->SetDatabaseType(t->db->GetDatabaseType());
        db->SetLocation(t->location);
    }
    auto* inB = new TOstTable(&moduleB);
    inB->SetDatabaseName(QStringLiteral("shop"));
    inB->SetTableName(QStringLiteral("Where"));
    inB->Open();
    QCOMPARE(inB->Fields()[0]->AsString(), QStringLiteral("second"));
    // Without a database of its own module, the first of that name anywhere.
    TOstTable loose;
    loose.SetDatabaseName(QStringLiteral("Shop"));
    loose.SetTableName(QStringLiteral("Where"));
    loose.Open();
    QCOMPARE(loose.Fields()[0]->AsString(), QStringLiteral("first"));
}

QTEST_GUILESS_MAIN(TstDatabase)
#include "tst_database.moc"
