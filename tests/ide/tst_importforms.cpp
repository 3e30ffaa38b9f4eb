// The two import forms from the component editors, on a real SQLite source
// and a real engine database: "Convert BDE Table..." converts with progress
// and leaves the engine table naming the new table with the source's
// properties and event handlers; stopped half way or refused, nothing is
// created and the component is as it was. "Import BDE Query..." copies a
// classic query's SQL, parameters and handlers and asks to check the SQL.
#include "../common/modal_helper.h"
#include "../migration/pgserver_helper.h"
#include "common/ostscripteddialogs.h"
#include "engine/base/tdatamodule.h"
#include "engine/ostquery.h"
#include "ide/ostqueryeditor.h"
#include "ide/ostreg.h"
#include "ide/osttableeditor.h"
#include "migration/core/classicdataset.h"
#include "migration/ostpropertyimportform.h"
#include "migration/ostqueryimportfrm.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/designintf/propertyeditor.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

class TstImportForms : public QObject {
    Q_OBJECT
private slots:
    void init();
    void convertVerbRunsTheWizard();
    void stoppedHalfWayCreatesNothing();
    void refusedImportKeepsTheDialogOpen();
    void queryVerbImportsSqlAndHandlers();
    void convertsAPostgresTable();
};

namespace {

// A SQLite file with Customers(Id, Name unique, City) of n records, and a
// module with a classic table on it, a single-file engine database "Shop"
// and an engine table.
struct Fixture {
    QTemporaryDir dir;
    QString file = dir.filePath("legacy.db");
    TDataModule root;
    TDesigner designer{&root};
    TTable* classic = nullptr;
    TOstDatabase* shop = nullptr;
    TOstTable* table = nullptr;
    explicit Fixture(int n = 3) {
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "fixture");
            db.setDatabaseName(file);
            db.open();
            QSqlQuery q(db);
            q.exec("CREATE TABLE Customers(Id INTEGER PRIMARY KEY, Name VARCHAR(40) NOT NULL UNIQUE, City TEXT)");
            q.exec("CREATE INDEX ByCity ON Customers(City)");
            q.exec("BEGIN");
            for (int i = 1; i <= n; ++i)
                q.exec(QStringLiteral("INSERT INTO Customers VALUES(%1, 'Customer %1', '%2')").arg(i).arg(i % 2 ? "Bonn" : "Köln"));
            q.exec("COMMIT");
            db.close();
        }
        QSqlDatabase::removeDatabase("fixture");
        classic = static_cast<TTable*>(designer.CreateComponent(&TTable::staticMetaObject, nullptr, 0, 0, 0, 0));
        classic->SetDatabaseName("QSQLITE:" + file);
        classic->SetTableName("Customers");
        shop = static_cast<TOstDatabase*>(designer.CreateComponent(&TOstDatabase::staticMetaObject, nullptr, 0, 0, 0, 0));
        shop->SetDatabaseName("Shop");
        shop->SetDatabaseType(dbtSingleFile);
        shop->SetLocation(dir.filePath("shop.ostd"));
        shop->CreateDatabase();
        table = static_cast<TOstTable*>(designer.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0));
        designer.SetUnmodified();
    }
    QStringList Tables() {
        QStringList names;
        shop->GetTableNames(names);
        return names;
    }
};

// With OSTRA_SCREENSHOTS set (scripts/screenshots.sh), a picture of the form for README.
void Shot(QWidget* w, const char* name) {
    const QString folder = qEnvironmentVariable("OSTRA_SCREENSHOTS");
    if (!folder.isEmpty()) QVERIFY(w->grab().save(folder + u'/' + QLatin1String(name)));
}

struct Dialogs {
    TScriptedDialogService service;
    TScopedDialogService scope{&service};
    QStringList failures;
    Dialogs() { service.SetFailureHandler([this](const QString& m) { failures.append(m); }); }
};

} // namespace

void TstImportForms::init() {
    ClearRegistrations();
    Register();
}

void TstImportForms::convertVerbRunsTheWizard() {
    Fixture f;
    f.classic->SetIndexName("ByCity");
    f.classic->SetFilter("City = 'Bonn'");
    f.classic->SetFiltered(true);
    f.classic->SetTag(42);
    int opened = 0;
    f.classic->AfterOpen = [&](TDataSet*) { ++opened; };
    // The classic table's TableName and IndexName offer what its database has.
    QStringList values;
    GetPropertyEditor(&f.designer, {f.classic}, "TableName")->GetValues(values);
    QCOMPARE(values, QStringList({"Customers"}));
    GetPropertyEditor(&f.designer, {f.classic}, "IndexName")->GetValues(values);
    QCOMPARE(values, QStringList({"ByCity", "Unique_Name"}));
    TOstTableEditor editor(f.table, &f.designer);
    QAction convert;
    editor.PrepareItem(5, &convert);
    QVERIFY(convert.isEnabled());

    QStringList sources, databases;
    QList<int> progress;
    WhenShown<TPropertyImportBrownieForm>([&](TPropertyImportBrownieForm* w) {
        for (int i = 0; i < w->SourceCombo()->count(); ++i) sources << w->SourceCombo()->itemText(i);
        for (int i = 0; i < w->DatabaseCombo()->count(); ++i) databases << w->DatabaseCombo()->itemText(i);
        QCOMPARE(w->TableNameEdit()->text(), QStringLiteral("Customers"));
        QVERIFY(w->CopyDataCheck()->isChecked());
        w->DatabaseCombo()->setCurrentText("Shop");
        connect(w->ProgressBar(), &QProgressBar::valueChanged, [&, w](int v) {
            if (v >= 30 && !progress.contains(-1)) {
                progress << -1;
                Shot(w, "import-table-wizard.png");
            }
            progress << v;
        });
        w->ImportBtn()->click();
    });
    editor.ExecuteVerb(5);
    QCOMPARE(sources, QStringList({"Table1 (Customers)"}));
    QCOMPARE(databases, QStringList({"Shop"}));
    QVERIFY(progress.contains(100));
    QVERIFY(f.designer.IsModified());
    // The new table, with the rows and indexes; the component names it.
    QCOMPARE(f.Tables(), QStringList({"Customers"}));
    QCOMPARE(f.table->GetDatabaseName(), QStringLiteral("Shop"));
    QCOMPARE(f.table->GetTableName(), QStringLiteral("Customers"));
    QCOMPARE(f.table->GetIndexName(), QStringLiteral("ByCity"));
    QCOMPARE(f.table->GetFilter(), QStringLiteral("City = 'Bonn'"));
    QVERIFY(f.table->GetFiltered());
    QCOMPARE(f.table->GetTag(), 42);
    QVERIFY(!f.table->Active()); // the source was closed, so is the table
    QVERIFY(!f.classic->Active());
    opened = 0;
    f.table->Open();
    QCOMPARE(opened, 1); // the source's handler came along
    QCOMPARE(f.table->RecordCount(), 2); // filtered: the two in Bonn
    f.table->SetFiltered(false);
    QCOMPARE(f.table->RecordCount(), 3);
    QStringList ix;
    for (const TIndexDef* d : f.table->IndexDefs()) ix << d->Name;
    ix.sort();
    QCOMPARE(ix, QStringList({"ByCity", "Unique_Name", "sys_primary"}));
}

void TstImportForms::stoppedHalfWayCreatesNothing() {
    Fixture f(60000);
    f.table->SetDatabaseName("Shop");
    f.table->SetTableName("Old");
    TOstTableEditor editor(f.table, &f.designer);
    QString status;
    bool stillOpen = false;
    WhenShown<TPropertyImportBrownieForm>([&](TPropertyImportBrownieForm* w) {
        connect(w->ProgressBar(), &QProgressBar::valueChanged, [w](int v) {
            if (v >= 30 && w->Running()) w->CancelBtn()->click(); // Stop
        });
        w->ImportBtn()->click();
        status = w->StatusLabel()->text();
        stillOpen = w->isVisible();
        QVERIFY(w->ImportBtn()->isEnabled());
        w->CancelBtn()->click();
    });
    editor.ExecuteVerb(5);
    QVERIFY(stillOpen);
    QCOMPARE(status, QStringLiteral("Stopped; nothing was created."));
    QCOMPARE(f.Tables(), QStringList());
    QCOMPARE(f.table->GetTableName(), QStringLiteral("Old"));
}

void TstImportForms::refusedImportKeepsTheDialogOpen() {
    Fixture f;
    Dialogs dialogs;
    f.table->SetDatabaseName("Shop");
    TOstTableEditor editor(f.table, &f.designer);
    dialogs.service.Press(QMessageBox::Ok);
    WhenShown<TPropertyImportBrownieForm>([&](TPropertyImportBrownieForm* w) {
        w->TableNameEdit()->setText("Bad/Name");
        w->ImportBtn()->click();
        QVERIFY(w->isVisible());
        w->CancelBtn()->click();
    });
    editor.ExecuteVerb(5);
    QCOMPARE(dialogs.service.Calls().size(), 1);
    QCOMPARE(dialogs.service.Calls()[0].Caption, QStringLiteral("Error"));
    QVERIFY(!dialogs.service.Calls()[0].Text.isEmpty());
    QCOMPARE(f.Tables(), QStringList());
    QCOMPARE(f.table->GetTableName(), QString());
    QCOMPARE(dialogs.failures, QStringList());
}

void TstImportForms::queryVerbImportsSqlAndHandlers() {
    Fixture f;
    Dialogs dialogs;
    auto* target = static_cast<TOstQuery*>(f.designer.CreateComponent(&TOstQuery::staticMetaObject, nullptr, 0, 0, 0, 0));
    TOstQueryEditor editor(target, &f.designer);
    QCOMPARE(editor.GetVerbCount(), 3);
    QCOMPARE(editor.GetVerb(1), QStringLiteral("-"));
    QCOMPARE(editor.GetVerb(2), QStringLiteral("Import BDE Query..."));
    QVERIFY_THROWS_EXCEPTION(EComponentError, editor.GetVerb(3));
    auto enabled = [&] {
        QList<bool> states;
        for (int i = 0; i < editor.GetVerbCount(); ++i) {
            QAction a;
            a.setEnabled(false);
            editor.PrepareItem(i, &a);
            states << a.isEnabled();
        }
        return states;
    };
    QCOMPARE(enabled(), QList<bool>({true, true, false}));
    QVERIFY(editor.CanEnableMenuItem(-1) && editor.CanEnableMenuItem(2) && editor.CanEnableMenuItem(3));
    auto* classic = static_cast<TQuery*>(f.designer.CreateComponent(&TQuery::staticMetaObject, nullptr, 0, 0, 0, 0));
    classic->SetDatabaseName("QSQLITE:" + f.file);
    classic->SetSQL({"SELECT Name FROM Customers", "WHERE City = :city"});
    classic->SetParamLines({"city=Köln"});
    classic->SetFilter("Name <> 'x'");
    int posted = 0;
    classic->BeforeOpen = [&](TDataSet*) { ++posted; };
    QCOMPARE(enabled(), QList<bool>({true, true, true}));

    QString shownSql;
    dialogs.service.Press(QMessageBox::Ok);
    WhenShown<TQueryImportBrownieFrm>([&](TQueryImportBrownieFrm* w) {
        QCOMPARE(w->SourceCombo()->currentText(), QStringLiteral("Query1"));
        shownSql = w->SqlView()->toPlainText();
        Shot(w, "import-query.png");
        w->OkBtn()->click();
    });
    f.designer.SetUnmodified();
    editor.ExecuteVerb(2);
    QVERIFY(f.designer.IsModified());
    QVERIFY(shownSql.startsWith("SELECT Name FROM Customers\nWHERE City = :city"));
    QCOMPARE(dialogs.service.Calls().size(), 1);
    QCOMPARE(dialogs.service.Calls()[0].Text, QStringLiteral("Please check the imported SQL statement before activating the query"));
    QCOMPARE(target->GetSQLLines(), QStringList({"SELECT Name FROM Customers", "WHERE City = :city"}));
    QCOMPARE(target->GetParamLines(), QStringList({"city=Köln"}));
    QCOMPARE(target->GetFilter(), QStringLiteral("Name <> 'x'"));
    QVERIFY(!target->Active());
    QVERIFY(target->BeforeOpen);
    target->BeforeOpen(target);
    QCOMPARE(posted, 1);
    QCOMPARE(dialogs.failures, QStringList());
}

// The road of a user: a module with a classic table on a PostgreSQL table and
// an Ostra table; the wizard converts it with its rows, indexes and properties.
void TstImportForms::convertsAPostgresTable() {
    TestPgServer pg;
    if (!pg.Ok()) QSKIP(qPrintable(QStringLiteral("PostgreSQL could not start: ") + pg.Why()));
    QVERIFY(pg.Exec("CREATE TABLE orders(no serial PRIMARY KEY, customer varchar(40) NOT NULL, total money, placed date); "
                    "CREATE INDEX by_customer ON orders(customer); "
                    "INSERT INTO orders(customer, total, placed) SELECT 'Customer ' || i % 50, i * 1.1, "
                    "date '2024-01-01' + i % 300 FROM generate_series(1, 5000) i"));
    Fixture f;
    f.classic->SetDatabaseName(pg.DatabaseName());
    f.classic->SetTableName("orders");
    f.classic->SetIndexName("by_customer");
    f.classic->Open();
    TOstTableEditor editor(f.table, &f.designer);
    QList<int> progress;
    WhenShown<TPropertyImportBrownieForm>([&](TPropertyImportBrownieForm* w) {
        QCOMPARE(w->TableNameEdit()->text(), QStringLiteral("orders"));
        w->TableNameEdit()->setText("Orders");
        w->DatabaseCombo()->setCurrentText("Shop");
        w->LevelCombo()->setCurrentIndex(w->LevelCombo()->findData(4));
        connect(w->ProgressBar(), &QProgressBar::valueChanged, [&](int v) { progress << v; });
        w->ImportBtn()->click();
    });
    editor.ExecuteVerb(5);
    QVERIFY(progress.size() > 10); // the bar moved along the copy
    QCOMPARE(progress.last(), 100);
    QVERIFY(f.table->Active()); // the source was open
    QCOMPARE(f.table->GetTableName(), QStringLiteral("Orders"));
    QCOMPARE(f.table->GetIndexName(), QStringLiteral("by_customer"));
    QCOMPARE(f.table->GetTableLevel(), 4);
    QCOMPARE(f.table->RecordCount(), 5000);
    QCOMPARE(f.table->FieldByName("customer")->AsString(), QStringLiteral("Customer 0")); // in the index's order
    QVERIFY(f.table->FindRecordId(3));
    QCOMPARE(f.table->FieldByName("total")->AsFloat(), 3.3);
    QStringList ix;
    for (const TIndexDef* d : f.table->IndexDefs()) ix << d->Name;
    ix.sort();
    QCOMPARE(ix, QStringList({"by_customer", "orders_pkey"}));
}

QTEST_MAIN(TstImportForms)
#include "tst_importforms.moc"
