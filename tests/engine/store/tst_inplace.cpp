// Restructures made in place. Every kind of change the engine makes without
// copying rows is applied to two copies of one database, once in place and
// once by a rebuild, and both must leave the same stored definition, SQL
// schema (views and triggers included), rows with their value types, record
// ids and counter, and give the same answers to the same posts; the table's
// pages stay where they were in place and move in a rebuild. Changes that
// need a rebuild say why, and get one.
#include "engine/engine_helper.h"

#include "engine/filter/ostfilter.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostinplace.h"
#include "engine/store/ostmeta.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <functional>

namespace {

using Edit = std::function<void(TOstTable&)>;

TOstFieldDef* Def(TOstTable& t, const QString& name) {
    TOstFieldDefs& f = t.GetFieldDefsOst();
    const int i = f.IndexOf(name);
    if (i < 0) qFatal("no column %s", qPrintable(name));
    return f[i];
}

// The table every change starts from: Items, with a unique index, a foreign
// key to Owners, two checks, a default, a not-null column, gaps in its record
// ids; in a single-file database also a view and a trigger that name it.
void BuildFixture(TOstDatabase& db, bool singleFile) {
    auto table = [&](const QString& name) {
        auto t = std::make_unique<TOstTable>(nullptr);
        t->SetDatabaseName(db.GetDatabaseName());
        t->SetTableName(name);
        return t;
    };
    auto exec = [&](const QString& sql) {
        TOstQuery q;
        q.SetDatabaseName(db.GetDatabaseName());
        q.SetSQL(sql);
        q.ExecSQL();
    };
    auto owners = table(QStringLiteral("Owners"));
    AddColumn(*owners, "ID", dtAutoInc);
    AddColumn(*owners, "Code", dtString, 10, false);
    owners->IndexDefs().Add(QStringLiteral("ByCode"), QStringLiteral("Code"), ixUnique);
    owners->CreateTable();
    exec(QStringLiteral("INSERT INTO Owners(Code) VALUES('A'), ('B'), ('C')"));

    auto t = table(QStringLiteral("Items"));
    AddColumn(*t, "ID", dtAutoInc);
    AddColumn(*t, "Name", dtString, 20)->SetSpec(QStringLiteral("Ostra"));
    AddColumn(*t, "Age", dtSmallInt);
    AddColumn(*t, "Note", dtMemo);
    AddColumn(*t, "Price", dtFloat)->SetPrecision(2);
    AddColumn(*t, "Owner", dtString, 10)->SetSpec(QStringLiteral("Ostra"));
    AddColumn(*t, "Joined", dtDate, 0, false);
    AddColumn(*t, "Code", dtString, 8, false);
    Def(*t, "Joined")->SetCalcExpression(QStringLiteral("'2020-01-01'"));
    t->IndexDefs().Add(QStringLiteral("ByName"), QStringLiteral("Name"), ixUnique);
    t->IndexDefs().Add(QStringLiteral("ByOwner"), QStringLiteral("Owner"), TIndexOptions());
    TCheckConstraint* ck = t->CheckConstraints().Add();
    ck->ImportedConstraint = QStringLiteral("Age >= 0");
    ck->ErrorMessage = QStringLiteral("Age must not be negative");
    ck = t->CheckConstraints().Add();
    ck->ImportedConstraint = QStringLiteral("Price < 1000");
    ck->ErrorMessage = QStringLiteral("Too expensive");
    TOstForeignKeyDef* fk = t->GetIntegrityRules().Add(QStringLiteral("ItemOwner"));
    fk->ParentTable = QStringLiteral("Owners");
    fk->ChildFields = QStringLiteral("Owner");
    fk->ParentFields = QStringLiteral("Code");
    t->CreateTable();
    exec(QStringLiteral("INSERT INTO Items(Name, Age, Note, Price, Owner, Joined, Code) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL "
                        "SELECT i + 1 FROM n WHERE i < 40) SELECT 'Item ' || i, CASE WHEN i % 7 = 0 THEN NULL ELSE i END, "
                        "CASE WHEN i % 3 = 0 THEN NULL ELSE 'note ' || i END, i * 1.25, CASE i % 4 WHEN 0 THEN NULL WHEN 1 "
                        "THEN 'A' ELSE 'B' END, date('2021-01-01', '+' || i || ' days'), 'C' || i FROM n"));
    exec(QStringLiteral("DELETE FROM Items WHERE ID IN (5, 40)")); // gaps, and the counter above the last id
    if (singleFile) {
        exec(QStringLiteral("CREATE TABLE Log(msg TEXT)"));
        exec(QStringLiteral("CREATE VIEW ItemNotes AS SELECT ID, Name, Note FROM Items WHERE Note IS NOT NULL"));
        exec(QStringLiteral("CREATE TRIGGER ItemsLog AFTER INSERT ON Items BEGIN INSERT INTO Log VALUES(new.Name || ':' || "
                            "coalesce(new.Note, '-') || ':' || coalesce(new.Code, '-')); END"));
    }
}

// One database copied twice: "in" is changed in place, "re" by a rebuild.
struct Twins {
    QTemporaryDir dir;
    bool singleFile;
    std::unique_ptr<TOstDatabase> in, re;
    static inline int counter = 0;

    explicit Twins(bool single) : singleFile(single) {
        const QString seed = Location(QStringLiteral("seed"));
        {
            TOstDatabase db(nullptr);
            db.SetDatabaseName(QStringLiteral("InPlaceSeed%1").arg(++counter));
            db.SetDatabaseType(single ? dbtSingleFile : dbtDirectory);
            db.SetLocation(seed);
            db.CreateDatabase();
            BuildFixture(db, single);
            db.Close();
        }
        in = Copy(seed, QStringLiteral("in"));
        re = Copy(seed, QStringLiteral("re"));
    }
    QString Location(const QString& name) const {
        return singleFile ? dir.filePath(name + QStringLiteral(".ostd")) : dir.filePath(name);
    }
    std::unique_ptr<TOstDatabase> Copy(const QString& from, const QString& name) {
        const QString to = Location(name);
        if (singleFile) {
            QFile::copy(from, to);
        } else {
            QDir().mkpath(to);
            for (const QString& f : QDir(from).entryList({QStringLiteral("*.dat")}, QDir::Files))
                QFile::copy(QDir(from).filePath(f), QDir(to).filePath(f));
        }
        auto db = std::make_unique<TOstDatabase>(nullptr);
        db->SetDatabaseName(QStringLiteral("InPlace%1%2").arg(name).arg(++counter));
        db->SetDatabaseType(singleFile ? dbtSingleFile : dbtDirectory);
        db->SetLocation(to);
        db->Open();
        return db;
    }
};

std::unique_ptr<TOstTable> Items(TOstDatabase& db) {
    auto t = std::make_unique<TOstTable>(nullptr);
    t->SetDatabaseName(db.GetDatabaseName());
    t->SetTableName(QStringLiteral("Items"));
    t->ReadDefinitions();
    return t;
}

QString Schema(TOstDatabase& db, const QString& table = QStringLiteral("Items")) { return db.Connection()->Locate(table).schema; }

qint64 RootPage(TOstDatabase& db, const QString& table = QStringLiteral("Items")) {
    return db.Connection()->QueryInt(
        QStringLiteral("SELECT rootpage FROM %1.sqlite_schema WHERE type = 'table' AND name = ?1").arg(Schema(db, table)), {table});
}

QString Query(TOstDatabase& db, const QString& sql) {
    auto c = db.Connection();
    OstStmt st(c->Db(), sql);
    QStringList rows;
    while (st.Step()) {
        QStringList cells;
        for (int i = 0; i < st.ColumnCount(); ++i) cells << (st.IsNull(i) ? QStringLiteral("<null>") : st.Text(i));
        rows << cells.join(QStringLiteral(" | "));
    }
    return rows.join(u'\n');
}

// Everything a restructure leaves that a user or SQLite can see.
struct Outcome {
    QString meta, schema, sequence, rows, log, integrity;
};

Outcome Observe(TOstDatabase& db, bool singleFile) {
    Outcome o;
    auto c = db.Connection();
    OstTableMeta m;
    c->ReadMeta(QStringLiteral("Items"), m);
    o.meta = QString::fromUtf8(QJsonDocument(m.ToJson()).toJson(QJsonDocument::Compact));
    const QString s = Schema(db);
    o.schema = Query(db, QStringLiteral("SELECT type, name, tbl_name, sql FROM %1.sqlite_schema ORDER BY type, name").arg(s));
    o.sequence = Query(db, QStringLiteral("SELECT name, seq FROM %1.sqlite_sequence ORDER BY name").arg(s));
    QStringList cols{QStringLiteral("rowid")};
    for (const OstColumnMeta& col : m.columns)
        cols << OstQuoteIdent(col.name) << QStringLiteral("typeof(%1)").arg(OstQuoteIdent(col.name));
    o.rows = Query(db, QStringLiteral("SELECT %1 FROM %2.\"Items\" ORDER BY rowid").arg(cols.join(u','), s));
    if (singleFile) o.log = Query(db, QStringLiteral("SELECT msg FROM main.Log ORDER BY rowid"));
    o.integrity = Query(db, QStringLiteral("PRAGMA %1.integrity_check").arg(s));
    return o;
}

// Posts that probe the table's rules, by column number (a renamed column
// keeps its number); numbers the table lacks are left out.
const QList<QMap<int, QVariant>> kProbes = {
    {{2, "Probe one"}},
    {{2, QString(25, u'x')}},
    {{2, QString(50, u'y')}},
    {{2, "negative"}, {3, -1}},
    {{2, "pricey"}, {5, 2000.5}},
    {{2, "orphan"}, {6, "ZZ"}},
    {{2, "big"}, {3, 40000}},
    {{2, "no code"}, {8, QVariant()}},
    {{2, "precise"}, {5, 1.23456}},
    {{2, "wide"}, {4, QString::fromUtf8("\xc3\xbc" "n" "\xc3\xaf" "c" "\xc3\xb6" "de \xe2\x9c\x93")}, {8, QString::fromUtf8("\xe2\x82\xac" "12345678901")}},
    {{2, "new ones"}, {9, 7}, {10, "abc"}},
    {{2, "Probe one"}},
};

QStringList Post(TOstDatabase& db) {
    QStringList out;
    auto t = Items(db);
    t->Open();
    for (const auto& probe : kProbes) {
        const EOstraError e = Raised([&] {
            t->Append();
            for (const TOstFieldDef* d : t->GetFieldDefsOst())
                if (probe.contains(d->GetFieldNo())) t->FieldByName(d->GetName())->SetValue(probe.value(d->GetFieldNo()));
            t->Post();
        });
        if (e.ErrorCode() != 0) t->Cancel();
        out << QStringLiteral("%1 %2").arg(e.ErrorCode()).arg(e.Message());
    }
    t->Close();
    return out;
}

struct Kind {
    const char* name;
    Edit edit;
};

const QList<Kind>& InPlaceKinds() {
    static const QList<Kind> kinds = {
        {"add a nullable column", [](TOstTable& t) { AddColumn(t, "Extra", dtInteger); }},
        {"add a column with a constant default",
         [](TOstTable& t) { AddColumn(t, "Region", dtString, 20)->SetCalcExpression(QStringLiteral("'north'")); }},
        {"add a not-null column", [](TOstTable& t) { AddColumn(t, "Active", dtBoolean, 0, false); }},
        {"add two columns",
         [](TOstTable& t) {
             AddColumn(t, "Extra", dtLargeInt)->SetCalcExpression(QStringLiteral("-12"));
             AddColumn(t, "Label", dtWideString, 30, false)->SetCalcExpression(QStringLiteral("'n/a'"));
         }},
        {"rename a column", [](TOstTable& t) { Def(t, "Note")->SetName(QStringLiteral("Remark")); }},
        {"rename an indexed column", [](TOstTable& t) {
             Def(t, "Name")->SetName(QStringLiteral("FullName"));
             t.IndexDefs().Find(QStringLiteral("ByName"))->Fields = QStringLiteral("FullName");
         }},
        {"swap the names of two columns", [](TOstTable& t) {
             TOstFieldDef* note = Def(t, "Note");
             Def(t, "Code")->SetName(QStringLiteral("Note"));
             note->SetName(QStringLiteral("Code"));
         }},
        {"rename in letter case only", [](TOstTable& t) { Def(t, "Owner")->SetName(QStringLiteral("OWNER")); }},
        {"widen a text column", [](TOstTable& t) { Def(t, "Name")->SetSize(40); }},
        {"narrow text to wide text", [](TOstTable& t) {
             Def(t, "Code")->SetDataTypeOst(dtWideString);
             Def(t, "Code")->SetSize(16);
         }},
        {"text to memo", [](TOstTable& t) { Def(t, "Code")->SetDataTypeOst(dtMemo); Def(t, "Code")->SetSize(0); }},
        {"raise a precision", [](TOstTable& t) { Def(t, "Price")->SetPrecision(4); }},
        {"widen an integer", [](TOstTable& t) { Def(t, "Age")->SetDataTypeOst(dtInteger); }},
        {"drop a check", [](TOstTable& t) { t.CheckConstraints().Delete(1); }},
        {"change a check's message",
         [](TOstTable& t) { t.CheckConstraints()[0]->ErrorMessage = QStringLiteral("Age: no negative values"); }},
        {"drop a foreign key", [](TOstTable& t) { t.GetIntegrityRules().Delete(0); }},
        {"change the capacity", [](TOstTable& t) { t.SetCapacity(5000000); }},
        {"let a column have no value", [](TOstTable& t) { Def(t, "Joined")->SetNullable(true); }},
        {"collation of an unindexed column", [](TOstTable& t) { Def(t, "Note")->SetSpec(QStringLiteral("de_DE_ci_ai")); }},
        {"the table's collation, no index depending", [](TOstTable& t) { t.SetCollationName(QStringLiteral("en_US_ci_as")); }},
        {"several at once", [](TOstTable& t) {
             Def(t, "Note")->SetName(QStringLiteral("Remark"));
             Def(t, "Name")->SetSize(30);
             t.CheckConstraints().Delete(1);
             AddColumn(t, "Region", dtString, 20)->SetCalcExpression(QStringLiteral("'north'"));
             t.SetCapacity(250000);
         }},
    };
    return kinds;
}

} // namespace

class TstInPlace : public QObject {
    Q_OBJECT
private slots:
    void sameAsARebuild_data();
    void sameAsARebuild();
    void otherChangesRebuildAndSayWhy_data();
    void otherChangesRebuildAndSayWhy();
    void renamesReachViewsAndTriggersEvenWhenOneIsBroken();
    void encryptedTableInPlace();
    void fulltextIndexFollowsARenameInPlace_data() { OST_DATA_LAYOUTS() }
    void fulltextIndexFollowsARenameInPlace();
    void foreignKeysAreCheckedWhenTheyCanBreak_data() { OST_DATA_LAYOUTS() }
    void foreignKeysAreCheckedWhenTheyCanBreak();
    void defaultsKeepTheirValueAfterLaterChanges_data() { OST_DATA_LAYOUTS() }
    void defaultsKeepTheirValueAfterLaterChanges();
    void cleanup() { OstAllowInPlace(true); }
};

void TstInPlace::sameAsARebuild_data() {
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<int>("kind");
    for (bool single : {false, true})
        for (int k = 0; k < InPlaceKinds().size(); ++k)
            QTest::addRow("%s, %s", single ? "single-file" : "directory", InPlaceKinds()[k].name) << single << k;
}

void TstInPlace::sameAsARebuild() {
    QFETCH(bool, singleFile);
    QFETCH(int, kind);
    const Edit& edit = InPlaceKinds()[kind].edit;
    Twins tw(singleFile);
    const qint64 inRoot = RootPage(*tw.in), reRoot = RootPage(*tw.re);

    auto in = Items(*tw.in);
    edit(*in);
    QString why = QStringLiteral("unset");
    QVERIFY2(in->CanAlterInPlace(&why), qPrintable(why));
    QVERIFY(why.isEmpty());
    in->AlterTable();
    QCOMPARE(RootPage(*tw.in), inRoot); // not a row copied

    OstAllowInPlace(false);
    auto re = Items(*tw.re);
    edit(*re);
    QVERIFY(!re->CanAlterInPlace(&why));
    re->AlterTable();
    OstAllowInPlace(true);
    QVERIFY(RootPage(*tw.re) != reRoot); // a real rebuild

    const Outcome a = Observe(*tw.in, singleFile), b = Observe(*tw.re, singleFile);
    QCOMPARE(a.integrity, QStringLiteral("ok"));
    QCOMPARE(b.integrity, QStringLiteral("ok"));
    QCOMPARE(a.meta, b.meta);
    QCOMPARE(a.schema, b.schema);
    QCOMPARE(a.sequence, b.sequence);
    QCOMPARE(a.rows, b.rows);
    QCOMPARE(Post(*tw.in), Post(*tw.re));
    const Outcome c = Observe(*tw.in, singleFile), d = Observe(*tw.re, singleFile);
    QCOMPARE(c.rows, d.rows);
    QCOMPARE(c.log, d.log);
    QCOMPARE(c.integrity, QStringLiteral("ok"));
    // Reopened by a new connection, the table reads the same.
    tw.in->Close();
    tw.in->Open();
    QCOMPARE(Observe(*tw.in, singleFile).rows, c.rows);
}

void TstInPlace::otherChangesRebuildAndSayWhy_data() {
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<int>("code"); // of the error the rebuild raises; 0 when it succeeds
    QTest::addColumn<int>("kind");
    struct Row {
        const char* name;
        const char* reason;
        int code;
    };
    static const Row rows[] = {
        {"move", "column \"Joined\" moves", 0},
        {"delete", "column \"Note\" is deleted", 0},
        {"convert", "column \"Age\" changes its type, and its values are converted", 0},
        {"narrow", "column \"Name\" gets shorter", 0},
        {"must have a value", "column \"Age\" must have a value now", 0},
        {"default changes", "the default value of column \"Joined\" changes", 0},
        {"expression default", "new column \"Stamp\" takes its default value from an expression", 0},
        {"default breaks its rules", "the default value of new column \"Short\" breaks the column's rules", OstErr::ConstraintViolation},
        {"no default for a new required column", "new column \"When\" must have a value and has no default", OstErr::ConstraintViolation},
        {"add a check", "check \"Name <> 'Item 3'\" is added or its condition changes", OstErr::ConstraintViolation},
        {"indexed collation", "the collation of column \"Owner\" changes, and index \"ByOwner\" depends on it", 0},
        {"checked collation", "the collation of column \"Note\" changes, and check \"Note <> 'x'\" compares it", 0},
        {"new column in the middle", "new column \"Mid\" comes before column \"Age\"", 0},
        {"primary key", "the primary key is added", 0},
        {"lower precision", "the precision of column \"Price\" is lowered", 0},
        {"calculated column", "calculated column \"Twice\" is added", 0},
        {"new index", "index \"ByAge\" is added", 0},
    };
    for (bool single : {false, true})
        for (int k = 0; k < int(std::size(rows)); ++k)
            QTest::addRow("%s, %s", single ? "single-file" : "directory", rows[k].name)
                << single << QString::fromUtf8(rows[k].reason) << rows[k].code << k;
}

void TstInPlace::otherChangesRebuildAndSayWhy() {
    QFETCH(bool, singleFile);
    QFETCH(QString, reason);
    QFETCH(int, code);
    QFETCH(int, kind);
    static const QList<Edit> edits = {
        [](TOstTable& t) { t.GetFieldDefsOst().Move(t.GetFieldDefsOst().IndexOf(QStringLiteral("Joined")), 1); },
        [](TOstTable& t) { t.GetFieldDefsOst().Delete(t.GetFieldDefsOst().IndexOf(QStringLiteral("Note"))); },
        [](TOstTable& t) { Def(t, "Age")->SetDataTypeOst(dtString); Def(t, "Age")->SetSize(6); },
        [](TOstTable& t) { Def(t, "Name")->SetSize(12); },
        [](TOstTable& t) { Def(t, "Age")->SetNullable(false); },
        [](TOstTable& t) { Def(t, "Joined")->SetCalcExpression(QStringLiteral("'2022-02-02'")); },
        [](TOstTable& t) { AddColumn(t, "Stamp", dtString, 10)->SetCalcExpression(QStringLiteral("'ab' || 'c'")); },
        [](TOstTable& t) { AddColumn(t, "Short", dtString, 3)->SetCalcExpression(QStringLiteral("'ABCDEF'")); },
        [](TOstTable& t) { AddColumn(t, "When", dtDate, 0, false); },
        [](TOstTable& t) {
            TCheckConstraint* ck = t.CheckConstraints().Add();
            ck->ImportedConstraint = QStringLiteral("Name <> 'Item 3'");
        },
        [](TOstTable& t) { Def(t, "Owner")->SetSpec(QStringLiteral("de_DE_ci_ai")); },
        [](TOstTable& t) {
            TCheckConstraint* ck = t.CheckConstraints().Add();
            ck->ImportedConstraint = QStringLiteral("Note <> 'x'");
            ck->Name = QStringLiteral("Note <> 'x'");
            t.AlterTable(); // the check first, then the collation the check compares with
            t.ReadDefinitions();
            Def(t, "Note")->SetSpec(QStringLiteral("de_DE_ci_ai"));
        },
        [](TOstTable& t) {
            TOstFieldDef* mid = AddColumn(t, "Mid", dtInteger);
            t.GetFieldDefsOst().Move(mid->Index(), 2);
        },
        [](TOstTable& t) { t.IndexDefs().Add(QStringLiteral("PK"), QStringLiteral("Code"), ixPrimary | ixUnique); },
        [](TOstTable& t) { Def(t, "Price")->SetPrecision(1); },
        [](TOstTable& t) {
            TOstFieldDef* d = AddColumn(t, "Twice", dtInteger);
            d->SetInternalCalcField(true);
            d->SetCalcExpression(QStringLiteral("Age * 2"));
        },
        [](TOstTable& t) { t.IndexDefs().Add(QStringLiteral("ByAge"), QStringLiteral("Age"), TIndexOptions()); },
    };
    TestDb tdb(singleFile);
    BuildFixture(*tdb.db, singleFile);
    auto t = tdb.Table(QStringLiteral("Items"));
    t->ReadDefinitions();
    edits[kind](*t);
    const qint64 root = RootPage(*tdb.db);
    QString why;
    QVERIFY(!t->CanAlterInPlace(&why));
    QCOMPARE(why, reason);
    const EOstraError e = Raised([&] { t->AlterTable(); });
    QCOMPARE(int(e.ErrorCode()), code);
    if (code == 0) QVERIFY(RootPage(*tdb.db) != root);
    else QCOMPARE(RootPage(*tdb.db), root);
    QCOMPARE(Query(*tdb.db, QStringLiteral("PRAGMA %1.integrity_check").arg(Schema(*tdb.db))), QStringLiteral("ok"));
}

// A view that SQLite cannot read any more does not stop a rename: the
// others follow it, in place and in a rebuild alike.
void TstInPlace::renamesReachViewsAndTriggersEvenWhenOneIsBroken() {
    for (bool inPlace : {true, false}) {
        TestDb tdb(true);
        BuildFixture(*tdb.db, true);
        tdb.Exec("CREATE TABLE Gone(x INTEGER)");
        tdb.Exec("CREATE VIEW Broken AS SELECT x FROM Gone");
        tdb.Exec("DROP TABLE Gone");
        OstAllowInPlace(inPlace);
        auto t = tdb.Table(QStringLiteral("Items"));
        t->ReadDefinitions();
        Def(*t, "Note")->SetName(QStringLiteral("Remark"));
        if (!inPlace) t->GetFieldDefsOst().Move(t->GetFieldDefsOst().IndexOf(QStringLiteral("Code")), 1);
        t->AlterTable();
        OstAllowInPlace(true);
        QCOMPARE(tdb.Scalar("SELECT group_concat(Remark) FROM (SELECT Remark FROM ItemNotes ORDER BY ID LIMIT 2)").toString(),
                 QStringLiteral("note 1,note 2"));
        tdb.Exec("INSERT INTO Items(Name, Remark, Code) VALUES('Late', 'remark', 'L1')");
        QCOMPARE(tdb.Scalar("SELECT msg FROM Log").toString(), QStringLiteral("Late:remark:L1"));
        QCOMPARE(Raised([&] { tdb.Scalar("SELECT * FROM Broken"); }).ErrorCode() != 0, true);
    }
}

// An encrypted table file changes in place like any other; its pages stay
// sealed and it reads back through a new connection.
void TstInPlace::encryptedTableInPlace() {
    TestDb tdb(false);
    auto t = tdb.Table(QStringLiteral("Secret"));
    t->SetEncryptionMethod(emRijndael);
    t->SetEncryptionPassword(QStringLiteral("s3cret"));
    AddColumn(*t, "Name", dtString, 10);
    t->CreateTable();
    tdb.Exec("INSERT INTO Secret(Name) VALUES('alpha'), ('beta')");
    t->ReadDefinitions();
    Def(*t, "Name")->SetName(QStringLiteral("Label"));
    Def(*t, "Label")->SetSize(30);
    AddColumn(*t, "Tag", dtString, 5)->SetCalcExpression(QStringLiteral("'t'"));
    QVERIFY(t->CanAlterInPlace());
    const qint64 root = tdb.db->Connection()->QueryInt(QStringLiteral("SELECT rootpage FROM \"t:secret\".sqlite_schema WHERE name = 'Secret'"));
    t->AlterTable();
    QCOMPARE(tdb.db->Connection()->QueryInt(QStringLiteral("SELECT rootpage FROM \"t:secret\".sqlite_schema WHERE name = 'Secret'")), root);
    QCOMPARE(tdb.db->Connection()->QueryText(QStringLiteral("PRAGMA \"t:secret\".integrity_check")), QStringLiteral("ok"));
    QFile file(QDir(tdb.location).filePath(QStringLiteral("Secret.dat")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.readAll().contains("alpha"));
    tdb.db->Close();
    auto r = tdb.Table(QStringLiteral("Secret"));
    r->SetEncryptionPassword(QStringLiteral("s3cret"));
    r->Open();
    r->Last();
    QCOMPARE(r->FieldByName(QStringLiteral("Label"))->AsString(), QStringLiteral("beta"));
    QCOMPARE(r->FieldByName(QStringLiteral("Tag"))->AsString(), QStringLiteral("t"));
    // A new password is a new file: not in place.
    r->Close();
    r->ReadDefinitions();
    r->SetEncryptionPassword(QStringLiteral("other"));
    QString why;
    QVERIFY(!r->CanAlterInPlace(&why));
    QCOMPARE(why, QStringLiteral("its encryption changes, so its file is written anew"));
}

// A fulltext index over a column renamed in place is built again under the
// new name; one that does not name it stays as it is.
void TstInPlace::fulltextIndexFollowsARenameInPlace() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = tdb.Table(QStringLiteral("Docs"));
    AddColumn(*t, "Id", dtAutoInc);
    AddColumn(*t, "Title", dtString, 60);
    AddColumn(*t, "Body", dtMemo);
    AddColumn(*t, "Note", dtMemo);
    t->CreateTable();
    tdb.Exec("INSERT INTO Docs(Title, Body, Note) VALUES ('red fox', 'quick brown fox', 'north'), ('lazy dog', 'sleeps', 'south')");
    t->AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Title;Body"), QStringLiteral("WordsDict"), QString());
    t->AddFulltextIndex2(QStringLiteral("Notes.fti"), QStringLiteral("Note"), QStringLiteral("NotesDict"), QString());
    auto hits = [&](const QString& words, const QString& index) {
        return tdb.Scalar(QStringLiteral("SELECT group_concat(RecordId) FROM ostra_search('Docs', %1, %2)")
                              .arg(OstQuoteString(words), OstQuoteString(index))).toString();
    };
    const qint64 root = RootPage(*tdb.db, QStringLiteral("Docs"));
    t->ReadDefinitions();
    Def(*t, "Body")->SetName(QStringLiteral("Text"));
    AddColumn(*t, "Extra", dtInteger);
    QVERIFY(t->CanAlterInPlace());
    const EOstraError e = Raised([&] { t->AlterTable(); });
    QVERIFY2(e.ErrorCode() == 0, qPrintable(e.Message()));
    QCOMPARE(RootPage(*tdb.db, QStringLiteral("Docs")), root);
    t->ReadDefinitions();
    QCOMPARE(t->FulltextIndexDefs()[0]->Fields, QStringLiteral("Title;Text"));
    QCOMPARE(hits(QStringLiteral("quick"), QStringLiteral("Words.fti")), QStringLiteral("1"));
    QCOMPARE(hits(QStringLiteral("south"), QStringLiteral("Notes.fti")), QStringLiteral("2"));
    tdb.Exec("INSERT INTO Docs(Title, Text, Note) VALUES ('grey wolf', 'a quick cousin', 'east')");
    tdb.Exec("UPDATE Docs SET Note = 'south again' WHERE Id = 1");
    QCOMPARE(hits(QStringLiteral("quick"), QStringLiteral("Words.fti")), QStringLiteral("1,3"));
    QCOMPARE(hits(QStringLiteral("south"), QStringLiteral("Notes.fti")), QStringLiteral("1,2"));
    QCOMPARE(tdb.Scalar("SELECT Relevance FROM WordsDict WHERE Keyword = 'quick'").toInt(), 2);
}

// In place no row changes, so a foreign key that stays as it was is not
// read again; a new one, or one whose columns compare otherwise, is.
void TstInPlace::foreignKeysAreCheckedWhenTheyCanBreak() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    BuildFixture(*tdb.db, singleFile);
    auto t = tdb.Table(QStringLiteral("Items"));
    t->ReadDefinitions();
    t->GetIntegrityRules().Delete(0);
    t->AlterTable();
    tdb.Exec("DELETE FROM Owners WHERE Code = 'B'"); // nothing refers to it now
    const QString before = Query(*tdb.db, QStringLiteral("SELECT type, name, sql FROM %1.sqlite_schema ORDER BY name").arg(Schema(*tdb.db)));
    // The key again, with a rename in place: the records that refer to B break it.
    t->ReadDefinitions();
    Def(*t, "Note")->SetName(QStringLiteral("Remark"));
    TOstForeignKeyDef* fk = t->GetIntegrityRules().Add(QStringLiteral("ItemOwner"));
    fk->ParentTable = QStringLiteral("Owners");
    fk->ChildFields = QStringLiteral("Owner");
    fk->ParentFields = QStringLiteral("Code");
    QVERIFY(t->CanAlterInPlace());
    EOstraError e = Raised([&] { t->AlterTable(); });
    QCOMPARE(e.ErrorCode(), OstErr::ForeignKeyViolation);
    QVERIFY2(e.Message().contains("ItemOwner"), qPrintable(e.Message()));
    QCOMPARE(Query(*tdb.db, QStringLiteral("SELECT type, name, sql FROM %1.sqlite_schema ORDER BY name").arg(Schema(*tdb.db))), before);
    t->ReadDefinitions();
    QCOMPARE(t->GetIntegrityRules().Count(), 0);
    QVERIFY(t->GetFieldDefsOst().IndexOf(QStringLiteral("Note")) >= 0);
    // Without the rows that break it, the key goes in, and holds.
    tdb.Exec("UPDATE Items SET Owner = NULL WHERE Owner = 'B'");
    t->ReadDefinitions();
    fk = t->GetIntegrityRules().Add(QStringLiteral("ItemOwner"));
    fk->ParentTable = QStringLiteral("Owners");
    fk->ChildFields = QStringLiteral("Owner");
    fk->ParentFields = QStringLiteral("Code");
    t->AlterTable();
    QCOMPARE(Raised([&] { tdb.Exec("UPDATE Items SET Owner = 'Q' WHERE ID = 1"); }).ErrorCode(), OstErr::ForeignKeyViolation);
}

// A column added in place is not written into the old rows: they read its
// default from the schema. Later changes in place must not change what they read.
void TstInPlace::defaultsKeepTheirValueAfterLaterChanges() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    BuildFixture(*tdb.db, singleFile);
    auto t = tdb.Table(QStringLiteral("Items"));
    t->ReadDefinitions();
    AddColumn(*t, "Region", dtString, 10, false)->SetCalcExpression(QStringLiteral("'north'"));
    t->AlterTable();
    t->ReadDefinitions();
    Def(*t, "Region")->SetName(QStringLiteral("Area"));
    Def(*t, "Area")->SetSize(20);
    Def(*t, "Note")->SetName(QStringLiteral("Remark"));
    QVERIFY(t->CanAlterInPlace());
    t->AlterTable();
    // Another default for the column is a rebuild, which writes the old one into every row first.
    t->ReadDefinitions();
    Def(*t, "Area")->SetCalcExpression(QStringLiteral("'south'"));
    QVERIFY(!t->CanAlterInPlace());
    t->AlterTable();
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Items WHERE Area = 'north'").toInt(), 38);
    tdb.Exec("INSERT INTO Items(Name, Code) VALUES('Later', 'L')");
    QCOMPARE(tdb.Scalar("SELECT Area FROM Items WHERE Name = 'Later'").toString(), QStringLiteral("south"));
}

QTEST_GUILESS_MAIN(TstInPlace)
#include "tst_inplace.moc"
