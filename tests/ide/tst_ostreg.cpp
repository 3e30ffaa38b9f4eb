// The package's registration: every step in its order, the splash entry with
// and without a splash screen, which editor each component and property ends
// up with, and the property editors working on real databases.
#include "common/ostscripteddialogs.h"
#include "engine/ostbatchmove.h"
#include "engine/ostdataset.h"
#include "engine/ostextcomps.h"
#include "engine/ostquery.h"
#include "engine/base/tclassregistry.h"
#include "engine/base/tdatamodule.h"
#include "ide/ostqueryeditor.h"
#include "migration/core/classicdataset.h"
#include "ide/ostreg.h"
#include "ide/osttableeditor.h"
#include "common/ostdatasetmodel.h"
#include "query/ostfilterdlg.h"
#include "query/ostsqledit.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"

#include "../common/modal_helper.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

// Derived classes get the editors registered for their bases.
class TMyTable : public TOstTable {
    Q_OBJECT
public:
    using TOstTable::TOstTable;
};

// A string property named SQL is not a query's SQL lines.
class TTextHolder : public TComponent {
    Q_OBJECT
    Q_PROPERTY(QString SQL MEMBER m_sql)
public:
    using TComponent::TComponent;
    QString m_sql;
};

class TstOstReg : public QObject {
    Q_OBJECT
private slots:
    void init() { ClearRegistrations(); }
    void registersEveryStepInOrder();
    void splashEntryOnlyWithASplashScreen();
    void editorsFoundForComponentsAndProperties();
    void tableAndQueryVerbsMarkTheModuleModified();
    void valueListsComeFromTheDatabase();
    void databaseRenameTakesItsDatasetsAlong();
    void dialogPropertiesAskThroughTheDialogService();
    void filterIsBuiltInTheFilterDialog();
    void sqlIsEditedInTheSqlEditor();
};

namespace {

class TRecordingSplash : public ISplashScreenServices {
public:
    QStringList calls;
    QPixmap bitmap;
    void StatusMessage(const QString& message) override { calls.append("status " + message); }
    void AddPluginBitmap(const QString& caption, const QPixmap& pm, bool unlicensed, const QString& status,
                         const QString& edition) override {
        calls.append(QStringLiteral("bitmap %1 %2 [%3] [%4]").arg(caption).arg(unlicensed).arg(status, edition));
        bitmap = pm;
    }
};

struct ScopedSplash {
    explicit ScopedSplash(ISplashScreenServices* s) { SplashScreenServices = s; }
    ~ScopedSplash() { SplashScreenServices = nullptr; }
};

const QStringList kExpectedLog = {
    // 2. field classes for streaming
    "class TOstStringField", "class TOstWideStringField", "class TOstBlobField", "class TOstLargeIntField",
    // 3. tables
    "class TOstTable", "component Ostra/TOstTable",
    // 4. queries, their editor and their SQL lines
    "class TOstQuery", "component Ostra/TOstQuery", "component editor TOstQuery",
    "property editor QStringList TOstQuery.SQL",
    // 5. the rest of the palette
    "class TOstDatabase", "class TOstEnumValueSet", "class TOstBatchMove", "class TOstBlobProvider",
    "component Ostra/TOstDatabase", "component Ostra/TOstEnumValueSet", "component Ostra/TOstBatchMove",
    "component Ostra/TOstBlobProvider",
    // 6. component editors
    "component editor TOstTable", "component editor TOstDatabase", "component editor TOstEnumValueSet",
    "component editor TOstBatchMove", "component editor TOstBlobProvider",
    // 7. property editors
    "property editor QString TOstDatabase.DatabaseName", "property editor QString TOstDatabase.Location",
    "property editor QString TOstDatabase.PrivateDir", "property editor QString TOstBatchMove.FileName",
    "property editor QString TOstDataSet.DatabaseName", "property editor QString TOstTable.TableName",
    "property editor QString TOstTable.IndexName", "property editor QString TOstTable.FulltextIndexName",
    "property editor QString TOstEnumValueSet.EnumField", "property editor QString TOstBlobProvider.FieldName",
    "property editor QString TOstDataSet.Filter",
    // 8. the classic datasets
    "class TTable", "class TQuery", "component Qt SQL/TTable", "component Qt SQL/TQuery",
    "property editor QString TTable.TableName", "property editor QString TTable.IndexName"};

template <class E> bool EditorIs(TComponent* c) { return dynamic_cast<E*>(GetComponentEditor(c, nullptr).get()); }
template <class E> bool PropertyEditorIs(TComponent* c, const char* prop) {
    return dynamic_cast<E*>(GetPropertyEditor(nullptr, {c}, QString::fromLatin1(prop)).get());
}

// A directory database "Shop" with Items(ID, Name, State enum, Photo blob,
// Notes memo) indexed by name, and an empty table Empty.
struct ShopDb {
    QTemporaryDir dir;
    QString location = dir.filePath("shop");
    ShopDb() {
        TOstDatabase db;
        db.SetLocation(location);
        db.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(location);
        t.SetTableName("Items");
        t.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
        t.GetFieldDefsOst().Add("Name", dtString, 30);
        t.GetFieldDefsOst().Add("State", dtEnum, 0)->SetSpec("new,sold");
        t.GetFieldDefsOst().Add("Photo", dtBlob, 0);
        t.GetFieldDefsOst().Add("Notes", dtMemo, 0);
        t.IndexDefs().Add("ByName", "Name", TIndexOptions());
        t.CreateTable();
        TOstTable e;
        e.SetDatabaseName(location);
        e.SetTableName("Empty");
        e.GetFieldDefsOst().Add("A", dtInteger, 0);
        e.CreateTable();
    }
};

QStringList Values(TPropertyEditor& e) {
    QStringList v;
    e.GetValues(v);
    return v;
}

} // namespace

void TstOstReg::registersEveryStepInOrder() {
    TRecordingSplash splash;
    ScopedSplash scoped(&splash);
    Register();
    QCOMPARE(RegistrationLog(), kExpectedLog);
    QCOMPARE(PalettePages(), QStringList({"Ostra", "Qt SQL"}));
    QCOMPARE(PaletteClasses("Qt SQL"), QList<const QMetaObject*>({&TTable::staticMetaObject, &TQuery::staticMetaObject}));
    QList<const QMetaObject*> palette{&TOstTable::staticMetaObject,        &TOstQuery::staticMetaObject,
                                      &TOstDatabase::staticMetaObject,     &TOstEnumValueSet::staticMetaObject,
                                      &TOstBatchMove::staticMetaObject,    &TOstBlobProvider::staticMetaObject};
    QCOMPARE(PaletteClasses("Ostra"), palette);
    // The field classes can be streamed: a module can create them by name.
    TDataModule root;
    QVERIFY(qobject_cast<TOstLargeIntField*>(CreateComponentOfClass("TOstLargeIntField", &root)));
    // The palette icons come with the package.
    palette << &TTable::staticMetaObject << &TQuery::staticMetaObject;
    for (const QMetaObject* cls : palette)
        QVERIFY2(QFile::exists(QStringLiteral(":/palette/%1.svg").arg(cls->className())), cls->className());
}

void TstOstReg::splashEntryOnlyWithASplashScreen() {
    {
        TRecordingSplash splash;
        ScopedSplash scoped(&splash);
        Register();
        QCOMPARE(splash.calls, QStringList({"status Ostra 6", "bitmap Ostra 6 0 [] []"}));
        // The bitmap was drawn from the package's resource, not left blank.
        const QImage image = splash.bitmap.toImage();
        QVERIFY(!image.isNull());
        QVERIFY(image.pixelColor(24, 6).alpha() > 0);
    }
    ClearRegistrations();
    QVERIFY(!SplashScreenServices);
    Register();
    QCOMPARE(RegistrationLog(), kExpectedLog);
}

void TstOstReg::editorsFoundForComponentsAndProperties() {
    Register();
    TDataModule root;
    auto* table = new TOstTable(&root);
    auto* mine = new TMyTable(&root);
    auto* query = new TOstQuery(&root);
    auto* db = new TOstDatabase(&root);
    auto* holder = new TTextHolder(&root);
    QVERIFY(EditorIs<TOstTableEditor>(table));
    QVERIFY(EditorIs<TOstTableEditor>(mine));
    QVERIFY(EditorIs<TOstQueryEditor>(query));
    QVERIFY(EditorIs<TOstDatabaseEditor>(db));
    QVERIFY(EditorIs<TOstEnumSetEditor>(new TOstEnumValueSet(&root)));
    QVERIFY(EditorIs<TOstBatchMoveEditor>(new TOstBatchMove(&root)));
    QVERIFY(EditorIs<TOstBlobProviderEditor>(new TOstBlobProvider(&root)));
    QVERIFY(EditorIs<TDefaultEditor>(new TDataSource(&root)));

    // DatabaseName: one editor serves tables and queries, the database has its own.
    QVERIFY(PropertyEditorIs<TOstDataSetDatabaseNameProperty>(table, "DatabaseName"));
    QVERIFY(PropertyEditorIs<TOstDataSetDatabaseNameProperty>(query, "DatabaseName"));
    QVERIFY(PropertyEditorIs<TOstDataSetDatabaseNameProperty>(mine, "DatabaseName"));
    QVERIFY(PropertyEditorIs<TOstDatabaseNameProperty>(db, "DatabaseName"));
    QVERIFY(!PropertyEditorIs<TOstDataSetDatabaseNameProperty>(db, "DatabaseName"));
    QVERIFY(PropertyEditorIs<TOstTableTableNameProperty>(mine, "TableName"));
    QVERIFY(PropertyEditorIs<TOstTableFulltextIndexNameProperty>(table, "FulltextIndexName"));
    // SQL lines of queries only; a string named SQL elsewhere keeps the plain editor.
    QVERIFY(PropertyEditorIs<TOstSQLBuilderProperty>(query, "SQL"));
    QVERIFY(!PropertyEditorIs<TOstSQLBuilderProperty>(holder, "SQL"));
    QVERIFY(PropertyEditorIs<TStringProperty>(holder, "SQL"));
    // A table and a query selected together share the dataset editor of DatabaseName.
    QVERIFY(dynamic_cast<TOstDataSetDatabaseNameProperty*>(GetPropertyEditor(nullptr, {table, query}, "DatabaseName").get()));
}

void TstOstReg::tableAndQueryVerbsMarkTheModuleModified() {
    Register();
    ShopDb shop;
    TDataModule root;
    TDesigner d(&root);
    auto* table = static_cast<TOstTable*>(d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0));
    table->SetDatabaseName(shop.location);
    table->SetTableName("Items");
    TComponent* query = d.CreateComponent(&TOstQuery::staticMetaObject, nullptr, 0, 0, 0, 0);
    for (TComponent* c : {static_cast<TComponent*>(table), query}) {
        d.SetUnmodified();
        auto editor = GetComponentEditor(c, &d);
        // The dataset verb comes first; the table's own verbs follow it.
        QCOMPARE(editor->GetVerbCount(), c == query ? 3 : 6);
        QCOMPARE(editor->GetVerb(0), QStringLiteral("Fields Editor..."));
        editor->ExecuteVerb(0);
        QVERIFY(d.IsModified());
        TFieldsEditorDialog* fields = TFieldsEditorDialog::Find(qobject_cast<TDataSet*>(c));
        QVERIFY(fields && fields->isVisible());
        fields->close();
        QTRY_VERIFY(!TFieldsEditorDialog::Find(qobject_cast<TDataSet*>(c)));
    }
}

void TstOstReg::valueListsComeFromTheDatabase() {
    Register();
    ShopDb shop;
    TDataModule root;
    TDesigner d(&root);
    auto* table = new TOstTable(&root);
    table->SetName("Table1");

    // A bare location: the names come through a temporary database that is freed again.
    table->SetDatabaseName(shop.location);
    auto names = GetPropertyEditor(&d, {table}, "TableName");
    QVERIFY(names->GetAttributes().testFlags(paValueList | paSortList));
    QCOMPARE(Values(*names), QStringList({"Empty", "Items"}));
    QVERIFY(!FindOstDatabase(shop.location));
    // Through a database component of that name.
    auto* db = new TOstDatabase(&root);
    db->SetName("Db1");
    db->SetDatabaseName("Shop");
    db->SetLocation(shop.location);
    table->SetDatabaseName("Shop");
    QCOMPARE(Values(*names), QStringList({"Empty", "Items"}));
    table->SetDatabaseName("NoSuchDatabaseAnywhere");
    QVERIFY_THROWS_EXCEPTION(Exception, Values(*names));
    table->SetDatabaseName("Shop");

    // Index names of a closed table are read from its file.
    table->SetTableName("Items");
    QCOMPARE(Values(*GetPropertyEditor(&d, {table}, "IndexName")), QStringList({"ByName"}));
    QCOMPARE(Values(*GetPropertyEditor(&d, {table}, "FulltextIndexName")), QStringList());

    // Columns of the dataset behind a data source: enumerations, blobs.
    auto* source = new TDataSource(&root);
    source->SetName("ItemsSource");
    auto* states = new TOstEnumValueSet(&root);
    auto* photos = new TOstBlobProvider(&root);
    QCOMPARE(Values(*GetPropertyEditor(&d, {states}, "EnumField")), QStringList());
    states->SetDataSourceName("ItemsSource");
    photos->SetDataSourceName("ItemsSource");
    QCOMPARE(Values(*GetPropertyEditor(&d, {states}, "EnumField")), QStringList()); // the source names no dataset
    source->SetDataSetName("Table1");
    QCOMPARE(Values(*GetPropertyEditor(&d, {states}, "EnumField")), QStringList({"State"}));
    QCOMPARE(Values(*GetPropertyEditor(&d, {photos}, "FieldName")), QStringList({"Photo", "Notes"}));
    QVERIFY(!table->Active());
}

void TstOstReg::databaseRenameTakesItsDatasetsAlong() {
    Register();
    TDataModule root;
    TDesigner d(&root);
    TComponent* db = d.CreateComponent(&TOstDatabase::staticMetaObject, nullptr, 0, 0, 0, 0);
    TComponent* t1 = d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0);
    TComponent* q1 = d.CreateComponent(&TOstQuery::staticMetaObject, nullptr, 0, 0, 0, 0);
    TComponent* other = d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0);
    d.SetProperty(db, "DatabaseName", "Sales");
    d.SetProperty(t1, "DatabaseName", "Sales");
    d.SetProperty(q1, "DatabaseName", "sales"); // database names are not case-sensitive
    d.SetProperty(other, "DatabaseName", "Archive");
    const int steps = d.UndoStack()->count();

    GetPropertyEditor(&d, {db}, "DatabaseName")->SetValue("Orders");
    QCOMPARE(db->property("DatabaseName").toString(), QStringLiteral("Orders"));
    QCOMPARE(t1->property("DatabaseName").toString(), QStringLiteral("Orders"));
    QCOMPARE(q1->property("DatabaseName").toString(), QStringLiteral("Orders"));
    QCOMPARE(other->property("DatabaseName").toString(), QStringLiteral("Archive"));
    QCOMPARE(d.UndoStack()->count(), steps + 1);
    d.Undo();
    QCOMPARE(db->property("DatabaseName").toString(), QStringLiteral("Sales"));
    QCOMPARE(t1->property("DatabaseName").toString(), QStringLiteral("Sales"));
    QCOMPARE(q1->property("DatabaseName").toString(), QStringLiteral("sales"));
}

void TstOstReg::dialogPropertiesAskThroughTheDialogService() {
    Register();
    TScriptedDialogService dialogs;
    dialogs.ThrowOnFailure();
    TScopedDialogService scoped(&dialogs);
    TDataModule root;
    TDesigner d(&root);
    TComponent* db = d.CreateComponent(&TOstDatabase::staticMetaObject, nullptr, 0, 0, 0, 0);
    d.SetProperty(db, "PrivateDir", "/tmp/before");

    auto privateDir = GetPropertyEditor(&d, {db}, "PrivateDir");
    QVERIFY(privateDir->GetAttributes() & paDialog);
    dialogs.Cancel();
    privateDir->Edit();
    QCOMPARE(db->property("PrivateDir").toString(), QStringLiteral("/tmp/before"));
    QCOMPARE(dialogs.Calls().last().Caption, QStringLiteral("Directory"));
    QCOMPARE(dialogs.Calls().last().Value, QString()); // no start directory
    dialogs.ChooseDirectory("/tmp/private");
    privateDir->Edit();
    QCOMPARE(db->property("PrivateDir").toString(), QStringLiteral("/tmp/private"));

    TComponent* move = d.CreateComponent(&TOstBatchMove::staticMetaObject, nullptr, 0, 0, 0, 0);
    dialogs.ChooseFile("/tmp/problems.txt");
    GetPropertyEditor(&d, {move}, "FileName")->Edit();
    QCOMPARE(move->property("FileName").toString(), QStringLiteral("/tmp/problems.txt"));

    QCOMPARE(dialogs.PendingAnswers(), 0);
}

void TstOstReg::sqlIsEditedInTheSqlEditor() {
    Register();
    ShopDb shop;
    TDataModule root;
    TDesigner d(&root);
    TComponent* db = d.CreateComponent(&TOstDatabase::staticMetaObject, nullptr, 0, 0, 0, 0);
    d.SetProperty(db, "DatabaseName", "Shop");
    d.SetProperty(db, "Location", shop.location);
    TComponent* c = d.CreateComponent(&TOstQuery::staticMetaObject, nullptr, 0, 0, 0, 0);
    auto* query = qobject_cast<TOstQuery*>(c);
    d.SetProperty(c, "DatabaseName", "Shop");
    auto sql = GetPropertyEditor(&d, {c}, "SQL");
    // The inspector shows the first line and never writes the text itself.
    QVERIFY(sql->GetAttributes() & paDialog);
    QVERIFY(sql->GetAttributes() & paReadOnly);
    QCOMPARE(sql->GetValue(), QString());
    sql->SetValue("\nSELECT *   -- all of it\nFROM Items\n\tWHERE State = 'new  old'");
    QCOMPARE(query->GetSQL(), QStringLiteral("\nSELECT *   -- all of it\nFROM Items\n\tWHERE State = 'new  old'"));
    QCOMPARE(sql->GetValue(), QStringLiteral("SELECT *   -- all of it \u2026"));
    d.SetProperty(c, "SQL", QStringList{"SELECT 1", "", "  "});
    QCOMPARE(sql->GetValue(), QStringLiteral("SELECT 1"));
    d.SetProperty(c, "SQL", QStringList{"SELECT *", "FROM Items"});

    // The editor lists the query's tables and the selected one's columns, starting at the table
    // the text reads from; OK stores the text as typed, in one undoable step.
    const int steps = d.UndoStack()->count();
    QStringList tables, fields;
    WhenShown<TSQLEditForm>([&](TSQLEditForm* f) {
        for (int i = 0; i < f->TableListBox()->count(); ++i) tables << f->TableListBox()->item(i)->text();
        for (int i = 0; i < f->FieldListBox()->count(); ++i) fields << f->FieldListBox()->item(i)->text();
        f->SetSQLText("SELECT Name,  \"State\"\nFROM Items -- sold ones\nWHERE State = 'sold'");
        f->accept();
    });
    sql->Edit();
    QCOMPARE(tables, QStringList({"Empty", "Items"}));
    QCOMPARE(fields, QStringList({"*", "ID", "Name", "State", "Photo", "Notes"}));
    QCOMPARE(query->GetSQLLines(), QStringList({"SELECT Name,  \"State\"", "FROM Items -- sold ones", "WHERE State = 'sold'"}));
    QCOMPARE(d.UndoStack()->count(), steps + 1);
    // Run works on the query's database and leaves the query alone.
    QString shown;
    WhenShown<TSQLEditForm>([&](TSQLEditForm* f) {
        f->SetSQLText("SELECT count(*) AS n FROM Items");
        f->RunActExecute();
        shown = f->ResultModel()->index(0, 0).data().toString();
        f->reject();
    });
    sql->Edit();
    QCOMPARE(shown, QStringLiteral("0"));
    QCOMPARE(query->GetSQLLines().first(), QStringLiteral("SELECT Name,  \"State\""));
    QVERIFY(!query->Active());
    QCOMPARE(d.UndoStack()->count(), steps + 1);
    // Unchanged text is no change.
    WhenShown<TSQLEditForm>([&](TSQLEditForm* f) { f->accept(); });
    sql->Edit();
    QCOMPARE(d.UndoStack()->count(), steps + 1);
}

void TstOstReg::filterIsBuiltInTheFilterDialog() {
    Register();
    ShopDb shop;
    TDataModule root;
    TDesigner d(&root);
    TComponent* c = d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0);
    d.SetProperty(c, "DatabaseName", shop.location);
    d.SetProperty(c, "TableName", "Items");
    auto filter = GetPropertyEditor(&d, {c}, "Filter");
    QVERIFY(filter->GetAttributes() & paDialog);

    // The dialog offers the closed table's columns; OK takes what it built.
    QStringList fields;
    WhenShown<TOstFilterDialog>(
        [&](TOstFilterDialog* dlg) {
            for (int i = 0; i < dlg->FieldComboBox()->count(); ++i) fields << dlg->FieldComboBox()->itemText(i);
            dlg->AddAct()->trigger();
            dlg->FieldComboBox()->setCurrentIndex(1);
            dlg->ValueEdit()->setText("Lamp");
            dlg->UpdateConditionBtn()->click();
            dlg->accept();
        },
        "Set Filter");
    filter->Edit();
    QCOMPARE(fields, QStringList({"ID", "Name", "State", "Photo", "Notes"}));
    QCOMPARE(c->property("Filter").toString(), QStringLiteral("$Name = 'Lamp'"));

    // Opened again it starts from the filter as typed; Cancel keeps it.
    QString shown;
    WhenShown<TOstFilterDialog>(
        [&](TOstFilterDialog* dlg) {
            shown = dlg->GetFilterText();
            dlg->reject();
        },
        "Set Filter");
    filter->Edit();
    QCOMPARE(shown, QStringLiteral("$Name = 'Lamp'"));
    QCOMPARE(c->property("Filter").toString(), QStringLiteral("$Name = 'Lamp'"));
}

QTEST_MAIN(TstOstReg)
#include "tst_ostreg.moc"
