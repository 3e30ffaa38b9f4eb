// Data module files: what a module writes is what it reads back, loading
// opens tables on a real database, and a bad file leaves nothing behind.
#include "engine/engine_helper.h"

#include "engine/base/tclassregistry.h"
#include "engine/base/tdatamodule.h"

#include <QJsonDocument>

class TstDataModule : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { RegisterEngineClasses(); }
    void classRegistry();
    void roundTripAndRuntimeLoad();
    void badFileLeavesNothing_data();
    void badFileLeavesNothing();
    void streamIntoExistingModule();
};

namespace {

// A module whose table comes before its database in the file, so loading has
// to defer Connected/Active to open anything.
struct Module {
    std::unique_ptr<TDataModule> root = std::make_unique<TDataModule>();
    TOstTable* table = nullptr;
    TOstDatabase* db = nullptr;
    TOstQuery* query = nullptr;

    Module(const QString& location) {
        root->SetName(QStringLiteral("Customers"));
        root->SetTag(7);
        table = new TOstTable(root.get());
        table->SetName(QStringLiteral("Table1"));
        table->SetDesignPos(120, 40);
        table->SetDatabaseName(QStringLiteral("ModuleDb"));
        table->SetTableName(QStringLiteral("People"));
        table->SetFilter(QStringLiteral("Name <> 'Nobody'"));
        db = new TOstDatabase(root.get());
        db->SetName(QStringLiteral("Db1"));
        db->SetDesignPos(-8, 300);
        db->SetDatabaseName(QStringLiteral("ModuleDb"));
        db->SetLocation(location);
        query = new TOstQuery(root.get());
        query->SetName(QStringLiteral("Query1"));
        query->SetDatabaseName(QStringLiteral("ModuleDb"));
        query->SetSQL(QStringLiteral("SELECT Name FROM People\nORDER BY Name"));
        query->SetTag(-3);
        Field(QStringLiteral("Table1Name"), QStringLiteral("Name"), ftString)->SetDisplayLabel(QStringLiteral("Full name"));
        Field(QStringLiteral("Table1ID"), QStringLiteral("ID"), ftAutoInc)->SetReadOnly(true);
    }
    TField* Field(const QString& name, const QString& fieldName, TFieldType type) {
        auto* f = new TField(root.get());
        f->SetName(name);
        f->SetFieldName(fieldName);
        f->SetDataType(type);
        f->SetDataSet(table);
        return f;
    }
};

void CreatePeople(TestDb& tdb) {
    auto t = tdb.Table(QStringLiteral("People"));
    AddColumn(*t, "ID", dtAutoInc);
    AddColumn(*t, "Name", dtString, 30);
    AddColumn(*t, "Age", dtInteger);
    t->CreateTable();
    t->Open();
    t->AppendRecord({QVariant(), QStringLiteral("Ann"), 31});
    t->AppendRecord({QVariant(), QStringLiteral("Bob"), 45});
}

QString WriteFile(const QTemporaryDir& dir, const QByteArray& text) {
    const QString path = dir.filePath(QStringLiteral("bad.odm"));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return QString();
    f.write(text);
    return path;
}

} // namespace

void TstDataModule::classRegistry() {
    const TClassRegistration* reg = FindClass(QStringLiteral("TOstTable"));
    QVERIFY(reg);
    QCOMPARE(reg->metaObject, &TOstTable::staticMetaObject);
    QVERIFY(!FindClass(QStringLiteral("tosttable")));
    QVERIFY(InheritsFrom(&TOstTable::staticMetaObject, &TDataSet::staticMetaObject));
    QVERIFY(!InheritsFrom(&TOstDatabase::staticMetaObject, &TDataSet::staticMetaObject));
    QCOMPARE(InheritanceDistance(&TOstQuery::staticMetaObject, &TOstDataSet::staticMetaObject), 1);

    TDataModule owner;
    TComponent* c = CreateComponentOfClass(QStringLiteral("TOstQuery"), &owner);
    QVERIFY(qobject_cast<TOstQuery*>(c));
    QCOMPARE(c->Owner(), &owner);
    QVERIFY_THROWS_EXCEPTION(EComponentError, CreateComponentOfClass(QStringLiteral("TNoSuchClass"), &owner));
    QVERIFY_THROWS_EXCEPTION(EComponentError, RegisterClass(QObject::staticMetaObject, [](TComponent*) { return nullptr; }));

    // Registering again replaces the factory and keeps the class's place.
    const int place = RegisteredClasses().indexOf(&TField::staticMetaObject);
    int made = 0;
    RegisterClass(TField::staticMetaObject, [&made](TComponent* o) -> TComponent* { ++made; return new TField(o); });
    delete CreateComponentOfClass(QStringLiteral("TField"), nullptr);
    QCOMPARE(made, 1);
    QCOMPARE(RegisteredClasses().indexOf(&TField::staticMetaObject), place);
    RegisterComponentClass<TField>();
}

void TstDataModule::roundTripAndRuntimeLoad() {
    TestDb tdb(false);
    CreatePeople(tdb);
    const QString file = tdb.dir.filePath(QStringLiteral("Customers.odm"));
    QJsonArray written;
    {
        Module m(tdb.location);
        m.table->Open();
        m.query->Open();
        SaveDataModule(*m.root, file);
        written = ComponentsToJson(m.root->Components().toList());
    }
    QFile f(file);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray text = f.readAll();
    const QJsonObject doc = QJsonDocument::fromJson(text).object();
    QCOMPARE(doc.value("format").toString(), QStringLiteral("ostra-datamodule"));
    QCOMPARE(doc.value("version").toInt(), 1);
    QCOMPARE(doc.value("class").toString(), QStringLiteral("TDataModule"));
    const QJsonObject tableJson = doc.value("components").toArray().at(0).toObject();
    QCOMPARE(tableJson.value("left").toInt(), 120);
    QCOMPARE(tableJson.value("properties").toObject().value("Active").toBool(), true);
    QVERIFY(!tableJson.value("properties").toObject().contains("DesignInfo"));
    QVERIFY(!tableJson.value("properties").toObject().contains("Name"));
    QCOMPARE(doc.value("components").toArray().at(3).toObject().value("dataSet").toString(), QStringLiteral("Table1"));
    // Properties appear in the order the class declares them.
    QVERIFY(text.indexOf("\"Tag\"", text.indexOf("\"TOstTable\"")) < text.indexOf("\"TableName\""));

    TDataModule loaded;
    LoadDataModule(file, &loaded);
    QCOMPARE(loaded.GetName(), QStringLiteral("Customers"));
    QCOMPARE(loaded.GetTag(), 7);
    QCOMPARE(ComponentsToJson(loaded.Components().toList()), written);
    auto* db = qobject_cast<TOstDatabase*>(loaded.FindComponent(QStringLiteral("Db1")));
    auto* table = qobject_cast<TOstTable*>(loaded.FindComponent(QStringLiteral("Table1")));
    auto* query = qobject_cast<TOstQuery*>(loaded.FindComponent(QStringLiteral("Query1")));
    auto* name = qobject_cast<TField*>(loaded.FindComponent(QStringLiteral("Table1Name")));
    QVERIFY(db && table && query && name);
    QCOMPARE(db->DesignLeft(), -8);
    QCOMPARE(db->DesignTop(), 300);
    QVERIFY(db->GetConnected());
    QCOMPARE(query->GetSQL(), QStringLiteral("SELECT Name FROM People\nORDER BY Name"));
    QCOMPARE(name->DataType(), ftString);
    QCOMPARE(name->GetDisplayLabel(), QStringLiteral("Full name"));

    // Run time: the table is open on the real database through its persistent fields only.
    QVERIFY(table->Active());
    QCOMPARE(table->RecordCount(), 2);
    QCOMPARE(table->Fields().Count(), 2);
    QCOMPARE(name->DataSet(), table);
    QCOMPARE(table->FieldByName(QStringLiteral("Name")), name);
    QVERIFY(!table->FindField(QStringLiteral("Age")));
    table->First();
    QCOMPARE(name->AsString(), QStringLiteral("Ann"));
    QVERIFY(query->Active());
    QCOMPARE(query->RecordCount(), 2);

    // Saving what was loaded writes the same file.
    const QString again = tdb.dir.filePath(QStringLiteral("Again.odm"));
    SaveDataModule(loaded, again);
    QFile g(again);
    QVERIFY(g.open(QIODevice::ReadOnly));
    QCOMPARE(g.readAll(), text);
}

void TstDataModule::badFileLeavesNothing_data() {
    QTest::addColumn<QByteArray>("components");
    QTest::addColumn<QString>("problem");
    QTest::addColumn<QByteArray>("moduleProperties");
    // The first component (a database named BadDb) is fine in every row.
    QTest::newRow("unknown class") << QByteArray(R"({"class": "TOstGadget", "name": "G1"})") << R"(unknown class "TOstGadget")" << QByteArray("{}");
    QTest::newRow("wrong kind of value")
        << QByteArray(R"({"class": "TOstTable", "name": "T1", "properties": {"Tag": "seven"}})")
        << R"(property "Tag" of "T1" failed: expected a whole number)" << QByteArray("{}");
    QTest::newRow("out of range")
        << QByteArray(R"({"class": "TOstTable", "name": "T1", "properties": {"Tag": 4294967296}})")
        << R"(property "Tag" of "T1" failed: 4294967296 is out of range)" << QByteArray("{}");
    QTest::newRow("setter refuses")
        << QByteArray(R"({"class": "TOstDatabase", "name": "D2", "properties": {"DatabaseType": 7}})")
        << R"(property "DatabaseType" of "D2" failed: Unknown database type 7)" << QByteArray("{}");
    QTest::newRow("unknown property")
        << QByteArray(R"({"class": "TOstQuery", "name": "Q1", "properties": {"TableName": "x"}})")
        << R"(property "TableName" of "Q1" failed: no such property)" << QByteArray("{}");
    QTest::newRow("duplicate name") << QByteArray(R"({"class": "TOstQuery", "name": "baddb"})") << "already exists" << QByteArray("{}");
    QTest::newRow("missing dataset")
        << QByteArray(R"({"class": "TField", "name": "F1", "dataSet": "Nowhere", "dataType": "String"})")
        << R"(dataset "Nowhere" of field "F1" not found)" << QByteArray("{}");
    QTest::newRow("table that does not exist")
        << QByteArray(R"({"class": "TOstTable", "name": "T1", "properties": {"DatabaseName": "BadDb", "TableName": "Missing", "Active": true}})")
        << R"(property "Active" of "T1" failed: Table "Missing" does not exist)" << QByteArray("{}");
    QTest::newRow("malformed JSON") << QByteArray(R"({"class": "TOstTable", "name": )") << "not valid JSON" << QByteArray("{}");
    QTest::newRow("module property")
        << QByteArray(R"({"class": "TOstQuery", "name": "Q1"})") << R"(property "Tag" of "Other" failed: expected a whole number)"
        << QByteArray(R"({"Tag": "x"})");
}

void TstDataModule::badFileLeavesNothing() {
    QFETCH(QByteArray, components);
    QFETCH(QString, problem);
    QFETCH(QByteArray, moduleProperties);
    TestDb tdb(false);
    QTemporaryDir dir;
    const QByteArray text = R"({"format": "ostra-datamodule", "version": 1, "name": "Other", "properties": )" + moduleProperties + R"(, "components": [
        {"class": "TOstDatabase", "name": "BadDb", "properties": {"DatabaseName": "BadDb", "Location": ")" +
                            tdb.location.toUtf8() + R"(", "Connected": true}}, )" + components + "]}";
    const QString file = WriteFile(dir, text);
    TDataModule root;
    root.SetName(QStringLiteral("Kept"));
    root.SetTag(3);
    (new TOstQuery(&root))->SetName(QStringLiteral("Existing"));
    try {
        LoadDataModule(file, &root);
        QFAIL("the file was accepted");
    } catch (const EComponentError& e) {
        QVERIFY2(e.Message().startsWith(file + ": "), qPrintable(e.Message()));
        QVERIFY2(e.Message().contains(problem), qPrintable(e.Message()));
    }
    QCOMPARE(root.ComponentCount(), 1);
    QCOMPARE(root.GetName(), QStringLiteral("Kept"));
    QCOMPARE(root.GetTag(), 3);
    QVERIFY(!FindOstDatabase(QStringLiteral("BadDb")));
}

void TstDataModule::streamIntoExistingModule() {
    TestDb tdb(false);
    CreatePeople(tdb);
    Module m(tdb.location);
    m.table->Open();
    QCOMPARE(m.table->Fields().Count(), 2);
    TField* name = qobject_cast<TField*>(m.root->FindComponent(QStringLiteral("Table1Name")));
    const QJsonArray copy = ComponentsToJson({m.table, name});
    const QJsonArray nameOnly = ComponentsToJson({name});
    delete name;
    QCOMPARE(m.table->Fields().Count(), 1);

    // A field streamed back into its open dataset is bound at once.
    const QList<TComponent*> back = ComponentsFromJson(nameOnly, m.root.get(), QStringLiteral("undo"));
    QCOMPARE(back.size(), 1);
    QCOMPARE(back[0]->GetName(), QStringLiteral("Table1Name"));
    QVERIFY(m.table->Active());
    QCOMPARE(m.table->Fields().Count(), 2);
    m.table->First();
    QCOMPARE(m.table->FieldByName(QStringLiteral("Name"))->AsString(), QStringLiteral("Ann"));

    // Renamed on the way in; the field follows its renamed dataset.
    const QList<TComponent*> pasted = ComponentsFromJson(copy, m.root.get(), QStringLiteral("clipboard"),
                                                         [](const QString& n) { return n + QStringLiteral("Copy"); });
    QCOMPARE(pasted.size(), 2);
    auto* table2 = qobject_cast<TOstTable*>(pasted[0]);
    QVERIFY(table2);
    QCOMPARE(table2->GetName(), QStringLiteral("Table1Copy"));
    QCOMPARE(qobject_cast<TField*>(pasted[1])->DataSet(), table2);
    QVERIFY(table2->Active());
    QCOMPARE(table2->Fields().Count(), 1);
    QCOMPARE(m.root->ComponentCount(), 7);

    // Pasting the same names again without renaming fails and adds nothing.
    try {
        ComponentsFromJson(copy, m.root.get(), QStringLiteral("clipboard"));
        QFAIL("duplicate names were accepted");
    } catch (const EComponentError& e) {
        QVERIFY2(e.Message().startsWith(QStringLiteral("clipboard: ")), qPrintable(e.Message()));
    }
    QCOMPARE(m.root->ComponentCount(), 7);
}

QTEST_GUILESS_MAIN(TstDataModule)
#include "tst_datamodule.moc"
