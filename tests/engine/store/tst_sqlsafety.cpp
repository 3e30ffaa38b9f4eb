// Text that reaches SQL: expressions of a definition are one expression over
// the table's own columns and never run as statements; SQL written by users
// cannot change the structure that belongs to the engine.
#include "engine/engine_helper.h"

#include <sqlite3.h>

class TstSqlSafety : public QObject {
    Q_OBJECT
private slots:
    void expressionsCannotRunStatements_data();
    void expressionsCannotRunStatements();
    void eachPlaceKeepsItsRules();
    void expressionsThatAreFine_data() { OST_DATA_LAYOUTS() }
    void expressionsThatAreFine();
    void userSqlKeepsEngineStructure_data() { OST_DATA_LAYOUTS() }
    void userSqlKeepsEngineStructure();
    void doubleQuotesNameColumns_data() { OST_DATA_LAYOUTS() }
    void doubleQuotesNameColumns();
};

namespace {

// A level-6 Customers table with two rows, the victim of every attack.
void MakeCustomers(TestDb& db) {
    auto t = db.Table(QStringLiteral("Customers"));
    AddColumn(*t, QStringLiteral("Name"), dtString, 30);
    AddColumn(*t, QStringLiteral("City"), dtString, 30);
    t->CreateTable();
    t->Open();
    for (const char* n : {"Ada", "Bob"}) {
        t->Append();
        t->FieldByName(QStringLiteral("Name"))->SetValue(QString::fromLatin1(n));
        t->FieldByName(QStringLiteral("City"))->SetValue(QStringLiteral("Graz"));
        t->Post();
    }
    t->Close();
}

// Puts an expression where a test wants it: "index", "default" or "calculated" (on column c).
void PlaceExpression(TOstTable& t, TOstFieldDef* c, const QString& where, const QString& expression) {
    if (where == QStringLiteral("index")) {
        t.IndexDefs().Add(QStringLiteral("ByExpr"), QString(), TIndexOptions(ixExpression))->Expression = expression;
    } else {
        c->SetInternalCalcField(where == QStringLiteral("calculated"));
        c->SetCalcExpression(expression);
    }
}

int CustomerRows(TestDb& db) { return db.Scalar(QStringLiteral("SELECT count(*) FROM Customers")).toInt(); }

} // namespace

void TstSqlSafety::expressionsCannotRunStatements_data() {
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<QString>("where"); // index, default, calculated
    QTest::addColumn<QString>("expression");
    const QStringList attacks = {
        QStringLiteral("A)); COMMIT; DROP TABLE \"Customers\"; BEGIN; SELECT ((1"),
        QStringLiteral("1); DROP TABLE Customers; --"),
        QStringLiteral("1) FROM Orders UNION SELECT (2"),
        QStringLiteral("(SELECT count(*) FROM Customers)"),
        QStringLiteral("1 -- swallows the rest"),
        QStringLiteral("1), (2"),
        QStringLiteral("'a' || (SELECT group_concat(name) FROM sqlite_schema)"),
        QStringLiteral("load_extension('x')"),
        QStringLiteral("?1 + :p"),
    };
    for (bool single : {false, true})
        for (const char* where : {"index", "default", "calculated"})
            for (int i = 0; i < attacks.size(); ++i)
                QTest::addRow("%s %s %d", single ? "single" : "dir", where, i) << single << QString::fromLatin1(where) << attacks[i];
}

void TstSqlSafety::expressionsCannotRunStatements() {
    QFETCH(bool, singleFile);
    QFETCH(QString, where);
    QFETCH(QString, expression);
    TestDb db(singleFile);
    MakeCustomers(db);
    auto t = db.Table(QStringLiteral("Orders"));
    AddColumn(*t, QStringLiteral("A"), dtInteger);
    PlaceExpression(*t, AddColumn(*t, QStringLiteral("B"), dtInteger), where, expression);
    const EOstraError e = Raised([&] { t->CreateTable(); });
    QVERIFY2(e.ErrorCode() != 0, qPrintable(expression));
    QCOMPARE(e.ErrorCode(), OstErr::InvalidDefinition);
    QVERIFY2(e.Message().contains(QStringLiteral("not one SQL expression")), qPrintable(e.Message()));
    QVERIFY(e.Message().size() < 300);
    // Nothing happened to the other table, and no half-made table is left.
    QCOMPARE(CustomerRows(db), 2);
    QVERIFY(!db.db->TableExists(QStringLiteral("Orders")));
    QStringList names;
    db.db->GetTableNames(names);
    QCOMPARE(names, QStringList{QStringLiteral("Customers")});

    // A restructure that brings in the same expression is refused as well, and changes nothing.
    auto c = db.Table(QStringLiteral("Customers"));
    c->ReadDefinitions();
    PlaceExpression(*c, AddColumn(*c, QStringLiteral("X"), dtInteger), where, expression);
    QCOMPARE(Raised([&] { c->AlterTable(); }).ErrorCode(), OstErr::InvalidDefinition);
    QCOMPARE(CustomerRows(db), 2);
    auto again = db.Table(QStringLiteral("Customers"));
    again->ReadDefinitions();
    QCOMPARE(again->GetFieldDefsOst().GetCount(), 2);
}

void TstSqlSafety::eachPlaceKeepsItsRules() {
    TestDb db(true);
    struct Case { const char* where; const char* expression; const char* says; } cases[] = {
        {"default", "A + 1", "a default value cannot refer to columns"},
        {"index", "random() + A", "non-deterministic"},
        {"calculated", "random()", "non-deterministic"},
        {"index", "count(A)", "misuse of aggregate"},
    };
    for (const Case& c : cases) {
        auto t = db.Table(QStringLiteral("T"));
        AddColumn(*t, QStringLiteral("A"), dtInteger);
        const QString expression = QString::fromLatin1(c.expression);
        PlaceExpression(*t, AddColumn(*t, QStringLiteral("B"), dtInteger), QString::fromLatin1(c.where), expression);
        const EOstraError e = Raised([&] { t->CreateTable(); });
        QVERIFY2(e.ErrorCode() == OstErr::InvalidDefinition && e.Message().contains(QString::fromLatin1(c.says)),
                 qPrintable(expression + QStringLiteral(" -> ") + e.Message()));
        QVERIFY(!db.db->TableExists(QStringLiteral("T")));
    }
}

void TstSqlSafety::expressionsThatAreFine() {
    QFETCH(bool, singleFile);
    TestDb db(singleFile);
    auto t = db.Table(QStringLiteral("Items"));
    AddColumn(*t, QStringLiteral("Name"), dtString, 30);
    AddColumn(*t, QStringLiteral("Price"), dtFloat);
    TOstFieldDef* gross = AddColumn(*t, QStringLiteral("Gross"), dtFloat);
    gross->SetInternalCalcField(true);
    gross->SetCalcExpression(QStringLiteral("round(Price * 1.2, 2)"));
    TOstFieldDef* note = AddColumn(*t, QStringLiteral("Note"), dtString, 40);
    note->SetCalcExpression(QStringLiteral("'it''s new; (really)'")); // separators inside a string are text
    t->IndexDefs().Add(QStringLiteral("ByUpper"), QString(), TIndexOptions(ixExpression))->Expression =
        QStringLiteral("upper(\"Name\") || '--'");
    t->CreateTable();
    t->Open();
    t->Append();
    t->FieldByName(QStringLiteral("Name"))->SetValue(QStringLiteral("cup"));
    t->FieldByName(QStringLiteral("Price"))->SetValue(2.5);
    t->Post();
    t->Close();
    QCOMPARE(db.Scalar(QStringLiteral("SELECT Gross FROM Items")).toDouble(), 3.0);
    QCOMPARE(db.Scalar(QStringLiteral("SELECT Note FROM Items")).toString(), QStringLiteral("it's new; (really)"));
    t->SetIndexName(QStringLiteral("ByUpper"));
    t->Open();
    QCOMPARE(t->RecordCount(), 1);
}

void TstSqlSafety::userSqlKeepsEngineStructure() {
    QFETCH(bool, singleFile);
    TestDb db(singleFile);
    MakeCustomers(db);
    auto refused = [&](const QString& sql, const QString& says) {
        const EOstraError e = Raised([&] { db.Exec(sql); });
        QVERIFY2(e.ErrorCode() != 0, qPrintable(sql));
        QVERIFY2(e.Message().contains(says), qPrintable(sql + QStringLiteral(" -> ") + e.Message()));
    };
    refused(QStringLiteral("DROP TABLE Customers"), QStringLiteral("DeleteTable"));
    refused(QStringLiteral("drop table \"customers\""), QStringLiteral("DeleteTable"));
    refused(QStringLiteral("ALTER TABLE Customers RENAME COLUMN City TO Town"), QStringLiteral("AlterTable"));
    refused(QStringLiteral("ALTER TABLE Customers RENAME TO Clients"), QStringLiteral("RenameTable"));
    refused(QStringLiteral("ALTER TABLE Customers ADD COLUMN Extra TEXT"), QStringLiteral("AlterTable"));
    refused(QStringLiteral("ALTER TABLE Customers DROP COLUMN City"), QStringLiteral("AlterTable"));
    // (a directory database's tables live in files of their own, out of reach of an unqualified CREATE INDEX)
    refused(QStringLiteral("CREATE INDEX x ON Customers(City)"), singleFile ? QStringLiteral("AddIndex") : QString());
    refused(QStringLiteral("CREATE TEMP TABLE Customers(a)"), QStringLiteral("already exists"));
    refused(QStringLiteral("CREATE TEMP VIEW customers AS SELECT 1"), QStringLiteral("already exists"));
    refused(QStringLiteral("DELETE FROM __ostra_meta"), QStringLiteral("kept by the engine"));
    refused(QStringLiteral("PRAGMA writable_schema=1"), QStringLiteral("PRAGMA writable_schema"));
    refused(QStringLiteral("PRAGMA journal_mode=WAL"), QStringLiteral("PRAGMA journal_mode"));
    refused(QStringLiteral("ATTACH 'x.db' AS x"), QStringLiteral("ATTACH"));
    // A refused statement in a script leaves the earlier ones undone.
    refused(QStringLiteral("DELETE FROM Customers; DROP TABLE Customers"), QStringLiteral("DeleteTable"));

    // The table is whole and usable, its rows and its definition as before.
    QCOMPARE(CustomerRows(db), 2);
    auto t = db.Table(QStringLiteral("Customers"));
    t->Open();
    QCOMPARE(t->FieldByName(QStringLiteral("City"))->AsString(), QStringLiteral("Graz"));
    t->Close();

    // Rows, inquiries, and objects of the user's own stay free.
    db.Exec(QStringLiteral("UPDATE Customers SET City = 'Linz' WHERE Name = 'Bob'"));
    QCOMPARE(db.Scalar(QStringLiteral("SELECT count(*) FROM pragma_table_info('Customers')")).toInt(), 2);
    QCOMPARE(db.Scalar(QStringLiteral("SELECT count(*) FROM Customers WHERE City = 'Linz'")).toInt(), 1);
    if (singleFile) {
        db.Exec(QStringLiteral("CREATE VIEW Towns AS SELECT DISTINCT City FROM Customers"));
        db.Exec(QStringLiteral("CREATE TABLE Scratch(a); DROP TABLE Scratch"));
        db.Exec(QStringLiteral("CREATE TRIGGER NoBob BEFORE DELETE ON Customers WHEN OLD.Name = 'Bob' "
                               "BEGIN SELECT RAISE(ABORT, 'keep Bob'); END"));
        QVERIFY(Raised([&] { db.Exec(QStringLiteral("DELETE FROM Customers")); }).Message().contains(QStringLiteral("keep Bob")));
        db.Exec(QStringLiteral("DROP TRIGGER NoBob; DROP VIEW Towns"));
    }
    // Deleting the table goes through the engine.
    t->DeleteTable();
    QVERIFY(!db.db->TableExists(QStringLiteral("Customers")));
}

void TstSqlSafety::doubleQuotesNameColumns() {
    QFETCH(bool, singleFile);
    TestDb db(singleFile);
    MakeCustomers(db);
    // "Town" names no column: an error, not the text 'Town' on every row.
    const EOstraError e = Raised([&] { db.Scalar(QStringLiteral("SELECT \"Town\" FROM Customers")); });
    QVERIFY2(e.Message().contains(QStringLiteral("no such column")), qPrintable(e.Message()));
    QCOMPARE(db.Scalar(QStringLiteral("SELECT \"City\" FROM Customers LIMIT 1")).toString(), QStringLiteral("Graz"));
}

QTEST_GUILESS_MAIN(TstSqlSafety)
#include "tst_sqlsafety.moc"
