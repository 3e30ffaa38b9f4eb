// QOSTRA through Qt SQL: a directory database made with the engine, read and
// changed through QSqlDatabase, QSqlQuery and QSqlTableModel, with the
// engine's rules holding as they do through TOstQuery.
#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlField>
#include <QSqlIndex>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QSqlTableModel>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

namespace {

TOstFieldDef* Column(TOstTable& t, const QString& name, int type, int size = 0, bool nullable = true) {
    TOstFieldDef* d = t.GetFieldDefsOst().Add(name, type, size);
    d->SetNullable(nullable);
    return d;
}

} // namespace

class TestQOstra : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_location;
    std::unique_ptr<TOstDatabase> m_db;

    std::unique_ptr<TOstTable> Table(const QString& name) {
        auto t = std::make_unique<TOstTable>();
        t->SetDatabaseName(m_db->GetDatabaseName());
        t->SetTableName(name);
        return t;
    }

    QVariant Scalar(const QString& sql) {
        TOstQuery q;
        q.SetDatabaseName(m_db->GetDatabaseName());
        q.SetSQL(sql);
        q.Open();
        return q.IsEmpty() ? QVariant() : q.Fields()[0]->Value();
    }

    QSqlDatabase Open(const QString& name, const QString& options = QString()) {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QOSTRA"), name);
        db.setDatabaseName(m_location);
        db.setConnectOptions(options);
        return db;
    }

private slots:
    void initTestCase() {
        // The plugin as built, in <build>/plugins/sqldrivers.
        QCoreApplication::addLibraryPath(QStringLiteral(OSTRA_PLUGIN_DIR));
        QVERIFY2(QSqlDatabase::drivers().contains(QStringLiteral("QOSTRA")), qPrintable(QSqlDatabase::drivers().join(u',')));
        QVERIFY(m_dir.isValid());
        m_location = m_dir.filePath(QStringLiteral("shop"));
        m_db = std::make_unique<TOstDatabase>();
        m_db->SetDatabaseName(QStringLiteral("Shop"));
        m_db->SetDatabaseType(dbtDirectory);
        m_db->SetLocation(m_location);
        m_db->CreateDatabase();

        auto customers = Table(QStringLiteral("Customers"));
        Column(*customers, QStringLiteral("Id"), dtInteger, 0, false);
        Column(*customers, QStringLiteral("Name"), dtString, 20, false);
        Column(*customers, QStringLiteral("Credit"), dtFloat);
        customers->IndexDefs().Add(QStringLiteral("ByPrimary"), QStringLiteral("Id"), ixPrimary | ixUnique);
        TCheckConstraint* check = customers->CheckConstraints().Add();
        check->Name = QStringLiteral("CreditLimit");
        check->ImportedConstraint = QStringLiteral("Credit < 1000");
        check->ErrorMessage = QStringLiteral("Credit must stay below 1000");
        customers->CreateTable();
        customers->Open();
        customers->AppendRecord({1, QStringLiteral("Ann"), 100.0});
        customers->AppendRecord({2, QStringLiteral("Bob"), 250.5});
        customers->Close();

        auto orders = Table(QStringLiteral("Orders"));
        Column(*orders, QStringLiteral("OrderNo"), dtInteger, 0, false);
        Column(*orders, QStringLiteral("CustomerId"), dtInteger, 0, false);
        Column(*orders, QStringLiteral("Note"), dtMemo);
        orders->IndexDefs().Add(QStringLiteral("ByPrimary"), QStringLiteral("OrderNo"), ixPrimary | ixUnique);
        TOstForeignKeyDef* fk = orders->GetIntegrityRules().Add(QStringLiteral("OrderCustomer"));
        fk->ParentTable = QStringLiteral("Customers");
        fk->ChildFields = QStringLiteral("CustomerId");
        fk->ParentFields = QStringLiteral("Id");
        orders->CreateTable();
        orders->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Note"), QStringLiteral("WordsDict"), QString());

        auto secrets = Table(QStringLiteral("Secrets"));
        Column(*secrets, QStringLiteral("Code"), dtString, 10);
        secrets->SetEncryptionMethod(emRijndael);
        secrets->SetEncryptionPassword(QStringLiteral("secret1"));
        secrets->CreateTable();
        secrets->Open();
        secrets->AppendRecord({QStringLiteral("4711")});
        secrets->Close();
    }

    void cleanupTestCase() {
        for (const QString& name : QSqlDatabase::connectionNames()) QSqlDatabase::removeDatabase(name);
    }

    // Tables, columns and the key come from the engine's definitions.
    void definitions() {
        {
            QSqlDatabase db = Open(QStringLiteral("definitions"));
            QVERIFY2(db.open(), qPrintable(db.lastError().text()));
            const QStringList tables = db.tables();
            QVERIFY(tables.contains(QStringLiteral("Customers")));
            QVERIFY(tables.contains(QStringLiteral("Orders")));
            QVERIFY(tables.contains(QStringLiteral("WordsDict")));
            const QSqlRecord rec = db.record(QStringLiteral("Customers"));
            QCOMPARE(rec.count(), 3);
            QCOMPARE(rec.fieldName(1), QStringLiteral("Name"));
            QCOMPARE(rec.field(1).length(), 20);
            QCOMPARE(rec.field(1).requiredStatus(), QSqlField::Required);
            QCOMPARE(rec.field(0).metaType().id(), int(QMetaType::Int));
            QCOMPARE(rec.field(2).metaType().id(), int(QMetaType::Double));
            const QSqlIndex key = db.primaryIndex(QStringLiteral("Customers"));
            QCOMPARE(key.count(), 1);
            QCOMPARE(key.fieldName(0), QStringLiteral("Id"));
            QVERIFY(db.record(QStringLiteral("NoSuchTable")).isEmpty());
        }
        QSqlDatabase::removeDatabase(QStringLiteral("definitions"));
        // A location that is not there is an error, not a new database.
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QOSTRA"), QStringLiteral("missing"));
            db.setDatabaseName(m_dir.filePath(QStringLiteral("nowhere")));
            QVERIFY(!db.open());
            QVERIFY(db.lastError().databaseText().contains(QStringLiteral("does not exist")));
            QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("nowhere"))));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("missing"));
    }

    // The grid road: read, edit, insert, and a value the engine refuses.
    void tableModel() {
        {
            QSqlDatabase db = Open(QStringLiteral("model"));
            QVERIFY(db.open());
            QSqlTableModel model(nullptr, db);
            model.setTable(QStringLiteral("Customers"));
            model.setEditStrategy(QSqlTableModel::OnManualSubmit);
            model.setSort(0, Qt::AscendingOrder);
            QVERIFY2(model.select(), qPrintable(model.lastError().text()));
            QCOMPARE(model.rowCount(), 2);
            QCOMPARE(model.data(model.index(1, 1)).toString(), QStringLiteral("Bob"));

            QVERIFY(model.setData(model.index(0, 1), QStringLiteral("Ann Lee")));
            QVERIFY2(model.submitAll(), qPrintable(model.lastError().text()));
            QCOMPARE(Scalar(QStringLiteral("SELECT Name FROM Customers WHERE Id = 1")).toString(), QStringLiteral("Ann Lee"));

            QSqlRecord row = model.record();
            row.setValue(0, 3);
            row.setValue(1, QStringLiteral("O'Brien\"); DROP --"));
            row.setValue(2, 10.0);
            QVERIFY(model.insertRecord(-1, row));
            QVERIFY2(model.submitAll(), qPrintable(model.lastError().text()));
            QCOMPARE(Scalar(QStringLiteral("SELECT Name FROM Customers WHERE Id = 3")).toString(),
                     QStringLiteral("O'Brien\"); DROP --"));
            QCOMPARE(model.rowCount(), 3);

            // The check and the size hold, with the engine's own words.
            QVERIFY(model.setData(model.index(1, 2), 5000.0));
            QVERIFY(!model.submitAll());
            QVERIFY2(model.lastError().databaseText().contains(QStringLiteral("Credit must stay below 1000")),
                     qPrintable(model.lastError().databaseText()));
            model.revertAll();
            QCOMPARE(Scalar(QStringLiteral("SELECT Credit FROM Customers WHERE Id = 2")).toDouble(), 250.5);
            QVERIFY(model.setData(model.index(1, 1), QStringLiteral("A name far longer than twenty")));
            QVERIFY(!model.submitAll());
            QVERIFY2(model.lastError().databaseText().contains(QStringLiteral("Name")), qPrintable(model.lastError().databaseText()));
            model.revertAll();
            QCOMPARE(Scalar(QStringLiteral("SELECT Name FROM Customers WHERE Id = 2")).toString(), QStringLiteral("Bob"));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("model"));
    }

    // Statements run through the engine: foreign keys across the files,
    // fulltext search, bound values, transactions, the engine's guard.
    void statements() {
        {
            QSqlDatabase db = Open(QStringLiteral("statements"));
            QVERIFY(db.open());
            QSqlQuery q(db);
            QVERIFY(q.prepare(QStringLiteral("INSERT INTO Orders(OrderNo, CustomerId, Note) VALUES (:no, :customer, :note)")));
            q.bindValue(QStringLiteral(":no"), 1);
            q.bindValue(QStringLiteral(":customer"), 2);
            q.bindValue(QStringLiteral(":note"), QStringLiteral("green tea and lemon cake"));
            QVERIFY2(q.exec(), qPrintable(q.lastError().text()));
            QCOMPARE(q.numRowsAffected(), 1);
            // A customer that does not exist, in another file of the database.
            q.bindValue(QStringLiteral(":no"), 2);
            q.bindValue(QStringLiteral(":customer"), 99);
            q.bindValue(QStringLiteral(":note"), QStringLiteral("black tea"));
            QVERIFY(!q.exec());
            QVERIFY2(q.lastError().databaseText().contains(QStringLiteral("OrderCustomer")) ||
                         q.lastError().databaseText().contains(QStringLiteral("Customers")),
                     qPrintable(q.lastError().databaseText()));
            QCOMPARE(Scalar(QStringLiteral("SELECT count(*) FROM Orders")).toInt(), 1);
            // Deleting a customer that has orders is rejected too.
            QVERIFY(!q.exec(QStringLiteral("DELETE FROM Customers WHERE Id = 2")));

            // Fulltext search through the engine's function, words bound.
            QVERIFY(q.prepare(QStringLiteral("SELECT o.OrderNo FROM ostra_search('Orders', ?) AS s "
                                             "JOIN Orders AS o ON o.rowid = s.RecordId")));
            q.addBindValue(QStringLiteral("lemon"));
            QVERIFY2(q.exec(), qPrintable(q.lastError().text()));
            QVERIFY(q.next());
            QCOMPARE(q.value(0).toInt(), 1);
            QVERIFY(!q.next());

            // Transactions: rolled back, nothing stays; committed, it does.
            QVERIFY(db.transaction());
            QVERIFY(q.exec(QStringLiteral("INSERT INTO Customers(Id, Name) VALUES (10, 'Temp')")));
            QVERIFY(db.rollback());
            QCOMPARE(Scalar(QStringLiteral("SELECT count(*) FROM Customers WHERE Id = 10")).toInt(), 0);
            QVERIFY(db.transaction());
            QVERIFY(q.exec(QStringLiteral("INSERT INTO Customers(Id, Name) VALUES (11, 'Kept')")));
            QVERIFY(db.commit());
            QCOMPARE(Scalar(QStringLiteral("SELECT count(*) FROM Customers WHERE Id = 11")).toInt(), 1);

            // The engine's tables keep their structure to the engine.
            QVERIFY(!q.exec(QStringLiteral("DROP TABLE Orders")));
            QVERIFY(!q.lastError().databaseText().isEmpty());
            QVERIFY(db.tables().contains(QStringLiteral("Orders")));
            // One statement at a time; a bad one says where.
            QVERIFY(!q.exec(QStringLiteral("DELETE FROM Orders; DELETE FROM Customers")));
            QCOMPARE(Scalar(QStringLiteral("SELECT count(*) FROM Orders")).toInt(), 1);
            QVERIFY(!q.exec(QStringLiteral("SELEC * FROM Orders")));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("statements"));
    }

    // Forward-only reading streams; a scrollable result goes back and forth.
    void reading() {
        {
            QSqlDatabase db = Open(QStringLiteral("reading"));
            QVERIFY(db.open());
            QSqlQuery fill(db);
            QVERIFY(db.transaction());
            QVERIFY(fill.prepare(QStringLiteral("INSERT INTO Customers(Id, Name, Credit) VALUES (?, ?, ?)")));
            for (int i = 100; i < 5100; ++i) {
                fill.addBindValue(i);
                fill.addBindValue(QStringLiteral("C%1").arg(i));
                fill.addBindValue(i % 900);
                QVERIFY2(fill.exec(), qPrintable(fill.lastError().text()));
            }
            QVERIFY(db.commit());
            QSqlQuery q(db);
            q.setForwardOnly(true);
            QVERIFY(q.exec(QStringLiteral("SELECT Id, Name FROM Customers WHERE Id >= 100 ORDER BY Id")));
            int n = 0;
            qint64 sum = 0;
            while (q.next()) {
                ++n;
                sum += q.value(0).toLongLong();
            }
            QCOMPARE(n, 5000);
            QCOMPARE(sum, qint64(5000) * (100 + 5099) / 2);
            QSqlQuery s(db);
            QVERIFY(s.exec(QStringLiteral("SELECT Id FROM Customers WHERE Id >= 100 ORDER BY Id")));
            QVERIFY(s.seek(4000));
            QCOMPARE(s.value(0).toInt(), 4100);
            QVERIFY(s.seek(3));
            QCOMPARE(s.value(0).toInt(), 103);
            QVERIFY(s.last());
            QCOMPARE(s.at(), 4999);
            QVERIFY(!s.seek(5000));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("reading"));
    }

    // A result left open on one table while a dozen others are written: more
    // table files than a connection can hold at once.
    void openResultWhileManyTablesChange() {
        for (int i = 0; i < 12; ++i) {
            auto t = Table(QStringLiteral("Shelf%1").arg(i));
            Column(*t, QStringLiteral("Id"), dtInteger, 0, false);
            t->IndexDefs().Add(QStringLiteral("ByPrimary"), QStringLiteral("Id"), ixPrimary | ixUnique);
            t->CreateTable();
        }
        {
            QSqlDatabase db = Open(QStringLiteral("many"));
            QVERIFY(db.open());
            QSqlQuery fill(db);
            QVERIFY(fill.exec(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
                                             "INSERT INTO Shelf0(Id) SELECT i FROM n")));
            // Its own views, listed as such and read like a table.
            QVERIFY2(fill.exec(QStringLiteral("CREATE TEMP VIEW RichCustomers AS SELECT Name FROM Customers WHERE Credit > 200")),
                     qPrintable(fill.lastError().text()));
            QCOMPARE(db.tables(QSql::Views), QStringList({QStringLiteral("RichCustomers")}));
            QVERIFY(!db.tables().contains(QStringLiteral("RichCustomers")));
            QCOMPARE(db.record(QStringLiteral("RichCustomers")).fieldName(0), QStringLiteral("Name"));

            QSqlQuery scroll(db), forward(db);
            forward.setForwardOnly(true);
            QVERIFY(scroll.exec(QStringLiteral("SELECT Id FROM Shelf0 ORDER BY Id")));
            QVERIFY(forward.exec(QStringLiteral("SELECT Id FROM Shelf0 ORDER BY Id")));
            QVERIFY(scroll.seek(9));
            QVERIFY(forward.next());
            QSqlQuery write(db);
            for (int i = 1; i < 12; ++i)
                QVERIFY2(write.exec(QStringLiteral("INSERT INTO Shelf%1(Id) VALUES (%1)").arg(i)), qPrintable(write.lastError().text()));
            // Both read on where they were, the current row still there.
            QCOMPARE(forward.value(0).toInt(), 1);
            QCOMPARE(scroll.value(0).toInt(), 10);
            int n = 1;
            qint64 sum = 1;
            while (forward.next()) {
                ++n;
                sum += forward.value(0).toInt();
            }
            QVERIFY2(!forward.lastError().isValid(), qPrintable(forward.lastError().text()));
            QCOMPARE(n, 1000);
            QCOMPARE(sum, qint64(500500));
            QVERIFY(scroll.last());
            QCOMPARE(scroll.value(0).toInt(), 1000);
            QVERIFY(scroll.seek(0));
            QCOMPARE(scroll.value(0).toInt(), 1);
            QVERIFY(write.exec(QStringLiteral("SELECT count(*) FROM Shelf11")) && write.next());
            QCOMPARE(write.value(0).toInt(), 1);
        }
        QSqlDatabase::removeDatabase(QStringLiteral("many"));
    }

    // An encrypted table opens with the password of the connect options only.
    void encryption() {
        // Nothing of this process holds the database open with the table's key.
        m_db->Close();
        {
            QSqlDatabase db = Open(QStringLiteral("nopassword"));
            QVERIFY(db.open());
            QSqlQuery q(db);
            QVERIFY(!q.exec(QStringLiteral("SELECT Code FROM Secrets")) || !q.next());
            QVERIFY2(q.lastError().databaseText().contains(QStringLiteral("Secrets")), qPrintable(q.lastError().databaseText()));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("nopassword"));
        {
            QSqlDatabase db = Open(QStringLiteral("password"), QStringLiteral("OSTRA_PASSWORD='secret1'"));
            QVERIFY(db.open());
            QSqlQuery q(db);
            QVERIFY2(q.exec(QStringLiteral("SELECT Code FROM Secrets")), qPrintable(q.lastError().text()));
            QVERIFY(q.next());
            QCOMPARE(q.value(0).toString(), QStringLiteral("4711"));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("password"));
    }
};

QTEST_GUILESS_MAIN(TestQOstra)
#include "tst_qostra.moc"
