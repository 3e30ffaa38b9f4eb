// The first road a new user takes, in the Studio alone, through its menus
// and the package's dialogs: place a database component and create a new
// database with it (directory, or one encrypted file with a catalog), place
// a table and create a new table through the table assistant and the table
// designer (the designer driven by its keys), select an existing table in a
// second table component, take that back with one undo, save the module and
// load it again. The object inspector shows every change as it happens.
#include "studio_helper.h"

#include "../common/modal_helper.h"

#include "common/ostscripteddialogs.h"
#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/base/tdatamodule.h"
#include "studio/designintf/designer.h"
#include "studio/modulecanvas.h"
#include "studio/propertygrid.h"
#include "studio/studiomainwindow.h"

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QtTest>

class TstStudioRoad : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void directoryDatabaseTablesAndModule();
    void encryptedSingleFileDatabase();

private:
    std::unique_ptr<TScriptedDialogService> m_dialogs;
    std::unique_ptr<TScopedDialogService> m_scope;
};

namespace {

template <class T> T* Child(QWidget* parent, const char* name) {
    T* child = parent->findChild<T*>(QLatin1String(name));
    if (!child) qFatal("%s has no %s", qPrintable(parent->objectName()), name);
    return child;
}

QPushButton* Button(QWidget* parent, const QString& text) {
    for (QPushButton* b : parent->findChildren<QPushButton*>())
        if (b->isVisible() && QString(b->text()).remove(u'&') == text) return b;
    qFatal("no button %s", qPrintable(text));
}

// Runs a verb of the component's context menu as the user does.
void RunVerb(TStudioMainWindow& w, TComponent* c, const QString& verb) {
    w.Designer()->SelectComponent(c);
    std::unique_ptr<QMenu> menu(w.Canvas()->CreateContextMenu(&w));
    for (QAction* a : menu->actions())
        if (a->text() == verb) {
            QVERIFY2(a->isEnabled(), qPrintable(verb));
            a->trigger();
            return;
        }
    QFAIL(qPrintable("no verb " + verb));
}

// The table designer, as a keyboard user drives it: Ctrl+N adds a column,
// its name is typed, Tab leaves the box; then Apply, confirm, Close.
void DesignColumns(const QString& table, const QStringList& columns) {
    WhenShown<QDialog>([columns](QDialog* designer) {
        for (const QString& name : columns) {
            QTRY_VERIFY(QApplication::focusWidget() && designer->isAncestorOf(QApplication::focusWidget()));
            QWidget* focus = QApplication::focusWidget();
            QTest::keyClick(focus, Qt::Key_N, Qt::ControlModifier);
            auto* nameEdit = Child<QLineEdit>(designer, "NameEdit");
            nameEdit->setFocus();
            nameEdit->selectAll();
            QTest::keyClicks(nameEdit, name);
            QTest::keyClick(nameEdit, Qt::Key_Tab);
        }
        WhenShown<QDialog>([](QDialog* changes) { Button(changes, "Ok")->click(); }, "Modifications of Table Structure");
        Button(designer, "Apply")->click();
        Button(designer, "Close")->click();
    }, "Ostra Table Designer - " + table);
}

} // namespace

void TstStudioRoad::initTestCase() { InitStudioTests(); }

void TstStudioRoad::init() {
    m_dialogs = std::make_unique<TScriptedDialogService>();
    m_dialogs->SetFailureHandler([](const QString& m) { QTest::qFail(qPrintable(m), __FILE__, __LINE__); });
    m_scope = std::make_unique<TScopedDialogService>(m_dialogs.get());
}

void TstStudioRoad::cleanup() {
    QCOMPARE(m_dialogs->PendingAnswers(), 0);
    m_scope.reset();
    m_dialogs.reset();
}

void TstStudioRoad::directoryDatabaseTablesAndModule() {
    QTemporaryDir dir;
    const QString location = dir.filePath("shop");
    TStudioMainWindow w;
    QVERIFY(ShowActive(w));
    TObjectInspector* inspector = w.Inspector();

    // A database component, and a new database for it.
    TComponent* db = w.Canvas()->PlaceComponent(&TOstDatabase::staticMetaObject, QPoint(24, 24));
    QVERIFY(inspector->SetPropertyText("DatabaseName", "Shop"));
    WhenShown<QDialog>(
        [&](QDialog* d) {
            QVERIFY(Child<QRadioButton>(d, "DirectoryRadio")->isChecked());
            Child<QLineEdit>(d, "LocationEdit")->setText(location);
            Child<QPushButton>(d, "OKBtn")->click();
        },
        "Create a New Ostra Database");
    RunVerb(w, db, "Create New Database...");
    auto* database = qobject_cast<TOstDatabase*>(db);
    QVERIFY(QFileInfo(location).isDir());
    QVERIFY(database->GetConnected());
    QCOMPARE(inspector->PropertyText("Connected"), QStringLiteral("True"));
    QCOMPARE(inspector->PropertyText("Location"), location);

    // A table component on it, and a new table through the assistant and the designer.
    TComponent* customers = w.Canvas()->PlaceComponent(&TOstTable::staticMetaObject, QPoint(120, 24));
    QVERIFY(inspector->SetPropertyText("DatabaseName", "Shop"));
    QString shownLocation;
    WhenShown<QDialog>(
        [&](QDialog* a) {
            QCOMPARE(Child<QComboBox>(a, "DBComboBox")->currentText(), QStringLiteral("Shop"));
            shownLocation = Child<QWidget>(a, "Location")->toolTip();
            QTest::keyClicks(Child<QLineEdit>(a, "TableNameEdit"), "Customers");
            DesignColumns("Customers", {"Name", "City"});
            QTest::keyClick(Child<QLineEdit>(a, "TableNameEdit"), Qt::Key_Return);
        },
        "Create a New Ostra Table");
    RunVerb(w, customers, "New Table...");
    QCOMPARE(shownLocation, location);
    auto* table = qobject_cast<TOstTable*>(customers);
    QVERIFY(table->Active());
    QCOMPARE(table->Fields().Count(), 2);
    QCOMPARE(table->Fields()[1]->GetFieldName(), QStringLiteral("City"));
    QVERIFY(QFileInfo::exists(location + "/Customers.dat"));
    // The inspector shows what the verb did.
    QCOMPARE(inspector->PropertyText("TableName"), QStringLiteral("Customers"));
    QCOMPARE(inspector->PropertyText("Active"), QStringLiteral("True"));

    // A second table component selects the existing table.
    TComponent* second = w.Canvas()->PlaceComponent(&TOstTable::staticMetaObject, QPoint(216, 24));
    WhenShown<QDialog>(
        [&](QDialog* a) {
            auto* databases = Child<QComboBox>(a, "DBComboBox");
            databases->setFocus();
            databases->setCurrentIndex(databases->findText("Shop"));
            emit databases->activated(databases->currentIndex());
            auto* tables = Child<QComboBox>(a, "TableNamesComboBox");
            QCOMPARE(tables->currentText(), QStringLiteral("Customers"));
            Child<QPushButton>(a, "OKBtn")->click();
        },
        "Select a Ostra Table");
    const int steps = w.Designer()->UndoStack()->count();
    RunVerb(w, second, "Select Table...");
    auto* other = qobject_cast<TOstTable*>(second);
    QVERIFY(other->Active());
    QCOMPARE(other->GetDatabaseName(), QStringLiteral("Shop"));
    QCOMPARE(inspector->PropertyText("Active"), QStringLiteral("True"));
    QCOMPARE(inspector->PropertyText("DatabaseName"), QStringLiteral("Shop"));
    // The verb is one step: undo takes the table back to where it was.
    QCOMPARE(w.Designer()->UndoStack()->count(), steps + 1);
    QCOMPARE(w.Designer()->UndoStack()->undoText(), QStringLiteral("Select Table"));
    w.Designer()->Undo();
    QVERIFY(!other->Active());
    QCOMPARE(other->GetDatabaseName(), QString());
    QCOMPARE(other->GetTableName(), QString());
    QCOMPARE(inspector->PropertyText("Active"), QStringLiteral("False"));
    w.Designer()->Redo();
    QVERIFY(other->Active());

    // Saved and loaded again: the database connects and the tables open as designed.
    const QString file = dir.filePath("Shop.ostdm");
    m_dialogs->ChooseFile(file);
    QVERIFY(w.SaveAs());
    TDataModule loaded;
    LoadDataModule(file, &loaded);
    auto* again = qobject_cast<TOstTable*>(loaded.FindComponent(customers->GetName()));
    QVERIFY(again && again->Active());
    QCOMPARE(again->Fields().Count(), 2);
}

void TstStudioRoad::encryptedSingleFileDatabase() {
    QTemporaryDir dir;
    TStudioMainWindow w;
    QVERIFY(ShowActive(w));
    TComponent* db = w.Canvas()->PlaceComponent(&TOstDatabase::staticMetaObject, QPoint(24, 24));
    QVERIFY(w.Inspector()->SetPropertyText("DatabaseName", "Vault"));
    WhenShown<QDialog>(
        [&](QDialog* d) {
            Child<QRadioButton>(d, "SingleFileRadio")->click();
            Child<QRadioButton>(d, "CatalogRadio")->click();
            auto* methods = Child<QComboBox>(d, "EncryptionTypComboBox");
            methods->setCurrentIndex(methods->findText("Rijndael/AES"));
            Child<QLineEdit>(d, "LocationEdit")->setText(dir.filePath("vault"));
            // OK without a password asks for one.
            WhenShown<QDialog>(
                [](QDialog* p) {
                    const QList<QLineEdit*> edits = p->findChildren<QLineEdit*>();
                    QCOMPARE(edits.size(), 2);
                    edits[0]->setText("open-sesame");
                    edits[1]->clear();
                    QTest::keyClicks(edits[1], "open-sesame");
                    Button(p, "OK")->click();
                },
                "Enter Password");
            Child<QPushButton>(d, "OKBtn")->click();
        },
        "Create a New Ostra Database");
    RunVerb(w, db, "Create New Database...");
    auto* vault = qobject_cast<TOstDatabase*>(db);
    QVERIFY(QFileInfo(dir.filePath("vault.ostd")).isFile());
    QVERIFY(vault->GetConnected());
    QVERIFY(vault->GetManaged());
    QCOMPARE(vault->GetEncryptionMethod(), int(emRijndael));
    // The password shows masked and is not written to the module file.
    auto* password = qobject_cast<QLineEdit*>(w.Inspector()->EditorWidget("Password"));
    QVERIFY(password);
    QCOMPARE(password->echoMode(), QLineEdit::Password);
    const QString file = dir.filePath("Vault.ostdm");
    m_dialogs->ChooseFile(file);
    QVERIFY(w.SaveAs());
    QFile saved(file);
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QVERIFY(!saved.readAll().contains("open-sesame"));
}

QTEST_MAIN(TstStudioRoad)
#include "tst_studioroad.moc"
