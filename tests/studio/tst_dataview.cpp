// The Studio's "Data" view: the records of the selected table or query as
// the component would show them (filter, index order, persistent fields),
// without changing the module; cells edited in the grid posted through the
// engine, a refused value explained with the row left as it was; encrypted
// tables asking for their password; a table that cannot be opened explained.
#include "studio_helper.h"

#include "common/ostdatasetmodel.h"
#include "common/ostscripteddialogs.h"
#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "engine/base/tdatamodule.h"
#include "studio/dataview.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/dsdesign.h"
#include "studio/modulecanvas.h"
#include "studio/studiomainwindow.h"

#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QTableView>
#include <QtTest>

namespace {

// A single-file database with People(ID, Name String 10, Age) = Ann 31,
// Bob 45, Cid 27, indexed on Age, with a check that ages are below 150.
struct ShopDb {
    QTemporaryDir dir;
    QString location;
    ShopDb() {
        location = dir.filePath("people.ostd");
        TOstDatabase db;
        db.SetLocation(location);
        db.SetDatabaseType(dbtSingleFile);
        db.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(location);
        t.SetTableName("People");
        t.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
        t.GetFieldDefsOst().Add("Name", dtString, 10);
        t.GetFieldDefsOst().Add("Age", dtInteger, 0);
        t.IndexDefs().Add("ByAge", "Age", TIndexOptions());
        TCheckConstraint* check = t.CheckConstraints().Add();
        check->Name = "AgeLimit";
        check->ImportedConstraint = "Age < 150";
        check->ErrorMessage = "Nobody is that old";
        t.CreateTable();
        t.Open();
        for (const auto& [name, age] : {std::pair{"Ann", 31}, {"Bob", 45}, {"Cid", 27}})
            t.AppendRecord({QVariant(), QString::fromLatin1(name), age});
    }
    QVariant Value(const QString& sql) {
        TOstQuery q;
        q.SetDatabaseName(location);
        q.SetSQL(sql);
        q.Open();
        return q.Fields()[0]->Value();
    }
};

QStringList Column(const QAbstractItemModel* m, int column) {
    QStringList out;
    for (int r = 0; r < m->rowCount(); ++r) out << m->index(r, column).data().toString();
    return out;
}

QStringList Headers(const QAbstractItemModel* m) {
    QStringList out;
    for (int c = 0; c < m->columnCount(); ++c) out << m->headerData(c, Qt::Horizontal).toString();
    return out;
}

// Types text into a cell through the grid's own editor and commits it with Return.
void TypeIntoCell(QTableView* grid, int row, int column, const QString& text) {
    const QModelIndex index = grid->model()->index(row, column);
    grid->setCurrentIndex(index);
    grid->edit(index);
    auto* editor = grid->viewport()->findChild<QLineEdit*>();
    QVERIFY(editor);
    editor->selectAll();
    QTest::keyClick(editor, Qt::Key_Delete);
    QTest::keyClicks(editor, text);
    QTest::keyClick(editor, Qt::Key_Return);
    // The delegate commits once the event loop turns.
    QPointer<QLineEdit> gone(editor);
    QTRY_VERIFY(!gone);
}

} // namespace

class TstDataView : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { InitStudioTests(); }
    void init();
    void cleanup();
    void showsTheSelectionWithoutChangingTheModule();
    void honoursFilterIndexAndPersistentFields();
    void cellEditsPostThroughTheEngine();
    void queriesAreShownReadOnly();
    void encryptedTablesAskForTheirPassword();
    void whatCannotBeOpenedIsExplained();

private:
    TComponent* Place(const QMetaObject* cls, const QString& name);
    std::unique_ptr<ShopDb> m_db;
    std::unique_ptr<TStudioMainWindow> m_window;
    std::unique_ptr<TScriptedDialogService> m_dialogs;
    std::unique_ptr<TScopedDialogService> m_scope;
    TComponent* m_table = nullptr;
};

void TstDataView::init() {
    m_dialogs = std::make_unique<TScriptedDialogService>();
    m_scope = std::make_unique<TScopedDialogService>(m_dialogs.get());
    m_db = std::make_unique<ShopDb>();
    m_window = std::make_unique<TStudioMainWindow>();
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    IDesigner* d = m_window->Designer();
    TComponent* db = Place(&TOstDatabase::staticMetaObject, "PeopleDb");
    d->SetProperty(db, "DatabaseName", "People");
    d->SetProperty(db, "DatabaseType", 1);
    d->SetProperty(db, "Location", m_db->location);
    m_table = Place(&TOstTable::staticMetaObject, "People");
    d->SetProperty(m_table, "DatabaseName", "People");
    d->SetProperty(m_table, "TableName", "People");
}

void TstDataView::cleanup() {
    m_window.reset();
    m_scope.reset();
    m_dialogs.reset();
    m_db.reset();
}

TComponent* TstDataView::Place(const QMetaObject* cls, const QString& name) {
    static int x = 0;
    TComponent* c = m_window->Canvas()->PlaceComponent(cls, QPoint(24 + (x++ % 5) * 90, 24));
    m_window->Designer()->SetProperty(c, "Name", name);
    return c;
}

void TstDataView::showsTheSelectionWithoutChangingTheModule() {
    TDataView* view = m_window->DataView();
    QVERIFY(!m_window->DataDock()->isVisible());
    m_window->Designer()->SelectComponent(m_table);
    QVERIFY(!view->DataSet()); // hidden: nothing is read
    // "View Data" on the table's context menu shows it.
    std::unique_ptr<QMenu> menu(m_window->Canvas()->CreateContextMenu(m_window.get()));
    QAction* viewData = nullptr;
    for (QAction* a : menu->actions())
        if (a->text() == "View &Data") viewData = a;
    QVERIFY(viewData);
    const bool modifiedBefore = m_window->Designer()->IsModified();
    const int undoSteps = m_window->Designer()->UndoStack()->count();
    viewData->trigger();
    QVERIFY(m_window->DataDock()->isVisible());
    QVERIFY(view->DataSet());
    QCOMPARE(Headers(view->Model()), QStringList({"ID", "Name", "Age"}));
    QCOMPARE(Column(view->Model(), 1), QStringList({"Ann", "Bob", "Cid"}));
    QCOMPARE(view->StatusLabel()->text(), QStringLiteral("3 records"));
    // The component stays closed, and the module as it was.
    QVERIFY(!qobject_cast<TOstTable*>(m_table)->Active());
    QCOMPARE(m_window->Designer()->IsModified(), modifiedBefore);
    QCOMPARE(m_window->Designer()->UndoStack()->count(), undoSteps);
    // Moving the component on the canvas reads nothing again.
    QSignalSpy reads(view->Model(), &QAbstractItemModel::modelReset);
    m_window->Canvas()->MoveSelection(8, 8);
    QTest::qWait(10);
    QCOMPARE(reads.count(), 0);
    // A component that is no dataset shows nothing; deleting the shown one empties the view.
    m_window->Designer()->SelectComponent(m_window->Module()->FindComponent("PeopleDb"));
    QVERIFY(!view->DataSet());
    m_window->Designer()->SelectComponent(m_table);
    QVERIFY(view->DataSet());
    m_window->Designer()->DeleteComponent(m_table);
    QVERIFY(!view->DataSet());
    QCOMPARE(view->Model()->rowCount(), 0);
}

void TstDataView::honoursFilterIndexAndPersistentFields() {
    IDesigner* d = m_window->Designer();
    d->SelectComponent(m_table);
    m_window->ShowData();
    TDataView* view = m_window->DataView();
    d->SetProperty(m_table, "IndexName", "ByAge");
    QTRY_COMPARE(Column(view->Model(), 1), QStringList({"Cid", "Ann", "Bob"}));
    d->SetProperty(m_table, "Filter", "Age > 30");
    d->SetProperty(m_table, "Filtered", true);
    QTRY_COMPARE(Column(view->Model(), 1), QStringList({"Ann", "Bob"}));
    QCOMPARE(view->StatusLabel()->text(), QStringLiteral("2 records (filtered)"));
    // Persistent fields: only theirs, in their order, with their labels.
    TFieldsEditorDialog fields(qobject_cast<TDataSet*>(m_table), d);
    fields.AddFields({"Age", "Name"});
    QTRY_COMPARE(Headers(view->Model()), QStringList({"Age", "Name"}));
    TField* name = PersistentFields(qobject_cast<TDataSet*>(m_table)).last();
    d->SetProperty(name, "DisplayLabel", "Full name");
    QTRY_COMPARE(Headers(view->Model()), QStringList({"Age", "Full name"}));
    QCOMPARE(Column(view->Model(), 1), QStringList({"Ann", "Bob"}));
    // A read-only field cannot be edited in the grid.
    QVERIFY(view->Model()->flags(view->Model()->index(0, 1)) & Qt::ItemIsEditable);
    d->SetProperty(name, "ReadOnly", true);
    QTRY_VERIFY(!(view->Model()->flags(view->Model()->index(0, 1)) & Qt::ItemIsEditable));
    // Undo brings the columns back as they were.
    d->Undo();
    d->Undo();
    d->Undo();
    QTRY_COMPARE(Headers(view->Model()), QStringList({"ID", "Name", "Age"}));
}

void TstDataView::cellEditsPostThroughTheEngine() {
    m_window->Designer()->SelectComponent(m_table);
    m_window->ShowData();
    TDataView* view = m_window->DataView();
    QTableView* grid = view->Grid();
    // Bob's age, typed into the grid.
    TypeIntoCell(grid, 1, 2, "46");
    QCOMPARE(m_db->Value("SELECT Age FROM People WHERE Name = 'Bob'").toInt(), 46);
    QCOMPARE(view->Model()->index(1, 2).data().toString(), QStringLiteral("46"));
    QVERIFY(m_dialogs->Calls().isEmpty());
    // Refused by the table's size, its type and its check: explained, and the row stays as it was.
    const QList<QPair<QPair<int, QString>, QString>> refused = {
        {{1, "Bartholomew the Great"}, "longer than 10 characters"},
        {{2, "old"}, "is not a whole number"},
        {{2, "151"}, "Nobody is that old"},
    };
    for (const auto& [cell, why] : refused) {
        m_dialogs->Press(QMessageBox::Ok);
        TypeIntoCell(grid, 1, cell.first, cell.second);
        QTRY_COMPARE(m_dialogs->PendingAnswers(), 0);
        QCOMPARE(m_dialogs->Calls().last().Caption, QStringLiteral("Error"));
        QVERIFY2(m_dialogs->Calls().last().Text.contains(why), qPrintable(m_dialogs->Calls().last().Text));
        QCOMPARE(view->Model()->index(1, 1).data().toString(), QStringLiteral("Bob"));
        QCOMPARE(view->Model()->index(1, 2).data().toString(), QStringLiteral("46"));
        QCOMPARE(m_db->Value("SELECT Name || ':' || Age FROM People WHERE ID = 2").toString(), QStringLiteral("Bob:46"));
    }
    // In index order an edited record moves, and the grid follows it.
    m_window->Designer()->SetProperty(m_table, "IndexName", "ByAge");
    QTRY_COMPARE(Column(view->Model(), 1), QStringList({"Cid", "Ann", "Bob"}));
    TypeIntoCell(grid, 0, 2, "50");
    QCOMPARE(Column(view->Model(), 1), QStringList({"Ann", "Bob", "Cid"}));
    QTRY_COMPARE(grid->currentIndex().row(), 2);
    // An emptied number is no value.
    TypeIntoCell(grid, 0, 2, "");
    QVERIFY(m_db->Value("SELECT Age FROM People WHERE Name = 'Ann'").isNull());
    QCOMPARE(view->Model()->index(0, 2).data().toString(), QStringLiteral("(null)"));
}

void TstDataView::queriesAreShownReadOnly() {
    IDesigner* d = m_window->Designer();
    TComponent* query = Place(&TOstQuery::staticMetaObject, "Adults");
    d->SetProperty(query, "DatabaseName", "People");
    d->SetProperty(query, "SQL", QStringList{"SELECT Name, Age", "FROM People -- grown-ups", "WHERE Age > 30 ORDER BY Name DESC"});
    d->SelectComponent(query);
    m_window->ShowData();
    TDataView* view = m_window->DataView();
    QCOMPARE(Column(view->Model(), 0), QStringList({"Bob", "Ann"}));
    QVERIFY(!(view->Model()->flags(view->Model()->index(0, 0)) & Qt::ItemIsEditable));
    QTRY_COMPARE(view->StatusLabel()->text(), QStringLiteral("2 records, read-only"));
    // A changed statement shows its own rows.
    d->SetProperty(query, "SQL", QStringList{"SELECT Name FROM People WHERE Age < 30"});
    QTRY_COMPARE(Column(view->Model(), 0), QStringList({"Cid"}));
    QVERIFY(!qobject_cast<TOstQuery*>(query)->Active());
}

void TstDataView::encryptedTablesAskForTheirPassword() {
    {
        TOstTable secret;
        secret.SetDatabaseName(QFileInfo(m_db->location).absolutePath() + "/vault");
        QDir().mkpath(secret.GetDatabaseName());
        secret.SetTableName("Secrets");
        secret.GetFieldDefsOst().Add("Word", dtString, 20);
        secret.SetEncryptionMethod(emRijndael);
        secret.SetEncryptionPassword("open sesame");
        secret.CreateTable();
        secret.Open();
        secret.AppendRecord({"hidden"});
    }
    QStringList asked;
    const TOstPasswordEvent before = GetGlobalOnPassword();
    SetGlobalOnPassword([&](QObject*, const QString& table, QString& password, bool& retry) {
        asked << table;
        password = "open sesame";
        retry = true;
    });
    IDesigner* d = m_window->Designer();
    TComponent* table = Place(&TOstTable::staticMetaObject, "Secrets");
    d->SetProperty(table, "DatabaseName", QFileInfo(m_db->location).absolutePath() + "/vault");
    d->SetProperty(table, "TableName", "Secrets");
    d->SelectComponent(table);
    m_window->ShowData();
    SetGlobalOnPassword(before);
    QCOMPARE(asked, QStringList({"Secrets"}));
    QCOMPARE(Column(m_window->DataView()->Model(), 0), QStringList({"hidden"}));
    // The password stays with the view, not in the module.
    QCOMPARE(table->property("EncryptionPassword").toString(), QString());
}

void TstDataView::whatCannotBeOpenedIsExplained() {
    IDesigner* d = m_window->Designer();
    d->SetProperty(m_table, "TableName", "Nobody");
    d->SelectComponent(m_table);
    m_window->ShowData();
    TDataView* view = m_window->DataView();
    QVERIFY(!view->DataSet());
    QVERIFY2(view->StatusLabel()->text().contains("Nobody"), qPrintable(view->StatusLabel()->text()));
    QVERIFY(m_dialogs->Calls().isEmpty()); // said in the view, not in a box
    d->SetProperty(m_table, "TableName", "People");
    QTRY_COMPARE(view->Model()->rowCount(), 3);
    QCOMPARE(view->StatusLabel()->text(), QStringLiteral("3 records"));
}

QTEST_MAIN(TstDataView)
#include "tst_dataview.moc"
