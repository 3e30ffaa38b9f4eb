// The engine's auxiliary components and field classes on real tables: a data
// source links enumeration value sets and blob providers to a dataset of the
// same owner; datasets make fields of the engine's field classes; a data
// module keeps the links by name.
#include "engine_helper.h"

#include "engine/ostbatchmove.h"
#include "engine/ostextcomps.h"
#include "engine/base/tclassregistry.h"
#include "engine/base/tdatamodule.h"

#include <QJsonDocument>

class TstComponents : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { RegisterEngineClasses(); }
    void enumValueSetReadsTheColumnsValues();
    void blobProviderServesTheCurrentRecord();
    void datasetsUseTheEngineFieldClasses();
    void referencesSurviveAModuleFile();
};

namespace {

const QByteArray kPng = QByteArray::fromHex("89504e470d0a1a0a0000000d49484452");

// Items(ID, State enum, Picture blob, Code char(6), Label wide, Big largeint) with two rows.
struct ItemsModule {
    TestDb tdb{false};
    TDataModule root;
    TOstTable* table = new TOstTable(&root);
    TDataSource* source = new TDataSource(&root);
    ItemsModule() {
        table->SetName("Items");
        table->SetDatabaseName(tdb.db->GetDatabaseName());
        table->SetTableName("Items");
        AddColumn(*table, "ID", dtAutoInc);
        AddColumn(*table, "State", dtEnum)->SetSpec("new, open ,closed");
        AddColumn(*table, "Picture", dtBlob);
        AddColumn(*table, "Code", dtChar, 6);
        AddColumn(*table, "Label", dtWideString, 20);
        AddColumn(*table, "Big", dtLargeInt);
        table->CreateTable();
        table->Open();
        table->AppendRecord({QVariant(), "open", kPng, "AB", QString::fromUtf8("Ünïcode"), qint64(1) << 40});
        table->AppendRecord({QVariant(), "closed", QVariant(), "XYZ", "x", 0});
        table->Close();
        source->SetName("ItemsSource");
        source->SetDataSetName("items"); // names are compared without case
    }
};

template <class F> QString DbErrorOf(F&& f) {
    try {
        f();
    } catch (const EDatabaseError& e) {
        return e.Message();
    }
    return QString();
}

} // namespace

void TstComponents::enumValueSetReadsTheColumnsValues() {
    ItemsModule m;
    auto* set = new TOstEnumValueSet(&m.root);
    set->SetName("States");
    QVERIFY(DbErrorOf([&] { set->Values(); }).contains("no engine dataset"));

    set->SetDataSourceName("ItemsSource");
    set->SetEnumField("State");
    QCOMPARE(m.source->DataSet(), m.table);
    // The closed table's definitions are read from its file.
    QCOMPARE(set->Values(), QStringList({"new", "open", "closed"}));
    QCOMPARE(set->IndexOfValue("closed"), 2);
    QCOMPARE(set->IndexOfValue("Closed"), -1);

    QVERIFY(DbErrorOf([&] { set->CurrentValue(); }).contains("closed"));
    m.table->Open();
    m.table->First();
    QCOMPARE(set->CurrentValue(), QStringLiteral("open"));
    m.table->Edit();
    set->SetCurrentValue("new");
    m.table->Post();
    m.table->Refresh();
    m.table->First();
    QCOMPARE(set->CurrentValue(), QStringLiteral("new"));
    m.table->Edit();
    QVERIFY(DbErrorOf([&] { set->SetCurrentValue("lost"); }).contains("'lost' is not a value"));
    m.table->Cancel();

    set->SetEnumField("Code");
    QVERIFY(DbErrorOf([&] { set->Values(); }).contains("'Code' is not an enumeration"));
    set->SetEnumField("Nothing");
    QVERIFY(DbErrorOf([&] { set->Values(); }).contains("'Nothing' not found"));
    // A data source naming something that is not a dataset links nothing.
    m.source->SetDataSetName("States");
    QVERIFY(!set->DataSet());
}

void TstComponents::blobProviderServesTheCurrentRecord() {
    ItemsModule m;
    TOstBlobProvider provider(&m.root);
    provider.SetDataSourceName("ItemsSource");
    provider.SetFieldName("Picture");
    QVERIFY(DbErrorOf([&] { provider.GetBlob(); }).contains("is closed"));

    m.table->Open();
    m.table->First();
    QCOMPARE(provider.GetBlob(), kPng);
    QCOMPARE(provider.ContentType(), QStringLiteral("image/png"));
    auto stream = provider.CreateStream();
    QCOMPARE(stream->read(4), kPng.left(4));
    m.table->Next();
    QCOMPARE(provider.GetBlob(), QByteArray());
    QCOMPARE(provider.ContentType(), QString());

    QCOMPARE(TOstBlobProvider::ContentTypeOf("\xff\xd8\xff\xe0rest"), QStringLiteral("image/jpeg"));
    QCOMPARE(TOstBlobProvider::ContentTypeOf("GIF89a..."), QStringLiteral("image/gif"));
    QCOMPARE(TOstBlobProvider::ContentTypeOf("%PDF-1.7"), QStringLiteral("application/pdf"));
    QCOMPARE(TOstBlobProvider::ContentTypeOf("plain words\nand lines"), QStringLiteral("text/plain"));
    QCOMPARE(TOstBlobProvider::ContentTypeOf(QByteArray("\x01\x02\x03", 3)), QStringLiteral("application/octet-stream"));

    provider.SetFieldName("Missing");
    QVERIFY(DbErrorOf([&] { provider.GetBlob(); }).contains("Missing"));
}

void TstComponents::datasetsUseTheEngineFieldClasses() {
    ItemsModule m;
    m.table->Open();
    m.table->First();
    auto className = [&](const char* field) { return QString::fromLatin1(m.table->FieldByName(field)->metaObject()->className()); };
    QCOMPARE(className("State"), QStringLiteral("TOstStringField"));
    QCOMPARE(className("Code"), QStringLiteral("TOstStringField"));
    QCOMPARE(className("Label"), QStringLiteral("TOstWideStringField"));
    QCOMPARE(className("Picture"), QStringLiteral("TOstBlobField"));
    QCOMPARE(className("Big"), QStringLiteral("TOstLargeIntField"));
    QCOMPARE(className("ID"), QStringLiteral("TField"));
    QCOMPARE(m.table->FieldByName("Big")->AsLargeInt(), qint64(1) << 40);
    QCOMPARE(m.table->FieldByName("Label")->AsString(), QString::fromUtf8("Ünïcode"));

    auto* code = qobject_cast<TOstStringField*>(m.table->FieldByName("Code"));
    QVERIFY(code->GetFixedChar());
    QVERIFY(!qobject_cast<TOstStringField*>(m.table->FieldByName("State"))->GetFixedChar());
    QCOMPARE(code->TrimmedValue(), QStringLiteral("AB"));

    // Blob content goes to a file and comes back from one.
    auto* picture = qobject_cast<TOstBlobField*>(m.table->FieldByName("Picture"));
    QCOMPARE(picture->BlobSize(), kPng.size());
    const QString file = m.tdb.dir.filePath("picture.png");
    picture->SaveToFile(file);
    m.table->Next();
    m.table->Edit();
    picture->LoadFromFile(file);
    m.table->Post();
    QCOMPARE(m.table->FieldByName("Picture")->AsBytes(), kPng);
    QVERIFY(DbErrorOf([&] { picture->LoadFromFile(m.tdb.dir.filePath("none.png")); }).contains("none.png"));
}

void TstComponents::referencesSurviveAModuleFile() {
    ItemsModule m;
    auto* set = new TOstEnumValueSet(&m.root);
    set->SetName("States");
    set->SetDataSourceName("ItemsSource");
    set->SetEnumField("State");
    auto* move = new TOstBatchMove(&m.root);
    move->SetName("Copy");
    move->SetSourceName("Items");
    move->SetDestinationName("Items");
    move->SetMode(TOstBatchMove::batAppendUpdate);
    move->SetMappings({"Code=Code", "Label"});
    QVERIFY_THROWS_EXCEPTION(EComponentError, move->SetRecordCount(-1));
    move->SetRecordCount(500);
    const QString file = m.tdb.dir.filePath("items.ostdm");
    SaveDataModule(m.root, file);

    QFile f(file);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QJsonArray stored = QJsonDocument::fromJson(f.readAll()).object().value("components").toArray();
    QCOMPARE(stored.at(3).toObject().value("properties").toObject().value("Mode").toString(), QStringLiteral("batAppendUpdate"));

    TDataModule loaded;
    LoadDataModule(file, &loaded);
    auto* states = qobject_cast<TOstEnumValueSet*>(loaded.FindComponent("States"));
    auto* copy = qobject_cast<TOstBatchMove*>(loaded.FindComponent("Copy"));
    QVERIFY(states && copy);
    QCOMPARE(states->DataSet(), loaded.FindComponent("Items"));
    QCOMPARE(states->Values(), QStringList({"new", "open", "closed"}));
    QCOMPARE(copy->Source(), loaded.FindComponent("Items"));
    QCOMPARE(copy->GetMappings(), QStringList({"Code=Code", "Label"}));
    QCOMPARE(copy->GetRecordCount(), 500);
    QCOMPARE(copy->GetMode(), TOstBatchMove::batAppendUpdate);

    QCOMPARE(ReferenceProperties(&TOstBatchMove::staticMetaObject), QStringList({"Source", "Destination"}));
    QCOMPARE(ReferencedClassName(&TOstEnumValueSet::staticMetaObject, "DataSource"), QStringLiteral("TDataSource"));
    QCOMPARE(ReferencedClassName(&TOstEnumValueSet::staticMetaObject, "EnumField"), QString());
}

QTEST_GUILESS_MAIN(TstComponents)
#include "tst_components.moc"
