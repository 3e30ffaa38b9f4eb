// Foreign keys (also between the files of a directory database), check
// constraints, link columns and collations as rows are posted and tables restructured.
#include "engine/engine_helper.h"

class TstIntegrity : public QObject {
    Q_OBJECT
private slots:
    void foreignKeys_data() { OST_DATA_LAYOUTS() }
    void foreignKeys();
    void restructureNeverCascades_data() { OST_DATA_LAYOUTS() }
    void restructureNeverCascades();
    void checksAndLinks();
    void collationsSortAndCompare();
};

static void MakeParentChildren(TestDb& tdb) {
    auto p = tdb.Table(QStringLiteral("Parent"));
    AddColumn(*p, "ID", dtAutoInc);
    AddColumn(*p, "Code", dtString, 10, false);
    p->IndexDefs().Add(QStringLiteral("ByCode"), QStringLiteral("Code"), ixUnique);
    p->CreateTable();
    auto addChild = [&](const QString& name, TOstForeignKeyAction action) {
        auto c = tdb.Table(name);
        AddColumn(*c, "ID", dtAutoInc);
        AddColumn(*c, "ParentCode", dtString, 10);
        TOstForeignKeyDef* fk = c->GetIntegrityRules().Add(QStringLiteral("FK_") + name);
        fk->ParentTable = QStringLiteral("Parent");
        fk->ChildFields = QStringLiteral("ParentCode");
        fk->ParentFields = QStringLiteral("Code");
        fk->DeleteAction = action;
        fk->UpdateAction = action;
        c->CreateTable();
    };
    addChild(QStringLiteral("Cascaded"), faCascade);
    addChild(QStringLiteral("Guarded"), faReject);
    tdb.Exec("INSERT INTO Parent(Code) VALUES('A'), ('B'), ('C')");
    tdb.Exec("INSERT INTO Cascaded(ParentCode) VALUES('A'), ('A'), ('B'), (NULL)");
    tdb.Exec("INSERT INTO Guarded(ParentCode) VALUES('B')");
}

void TstIntegrity::foreignKeys() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    MakeParentChildren(tdb);
    // A child needs its parent, through SQL and through a table component.
    QCOMPARE(Raised([&] { tdb.Exec("INSERT INTO Cascaded(ParentCode) VALUES('Z')"); }).ErrorCode(), OstErr::ForeignKeyViolation);
    auto c = tdb.Table(QStringLiteral("Guarded"));
    c->Open();
    const EOstraError e = Raised([&] { c->AppendRecord({QVariant(), "Q"}); });
    c->Cancel();
    QCOMPARE(e.ErrorCode(), OstErr::ForeignKeyViolation);
    QVERIFY2(e.Message().contains("FK_Guarded") && e.Message().contains("Parent"), qPrintable(e.Message()));
    c->Close();

    // Reject keeps a referenced parent; Cascade follows deletes and key changes.
    QCOMPARE(Raised([&] { tdb.Exec("DELETE FROM Parent WHERE Code = 'B'"); }).ErrorCode(), OstErr::ForeignKeyViolation);
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Parent").toInt(), 3);
    tdb.Exec("UPDATE Parent SET Code = 'A2' WHERE Code = 'A'");
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Cascaded WHERE ParentCode = 'A2'").toInt(), 2);
    auto p = tdb.Table(QStringLiteral("Parent"));
    p->Open();
    QVERIFY(p->Locate(QStringLiteral("Code"), QStringLiteral("A2")));
    p->Delete();
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Cascaded").toInt(), 2);
    p->Close();

    // A parent with children cannot be dropped.
    QCOMPARE(Raised([&] { p->DeleteTable(); }).ErrorCode(), OstErr::ForeignKeyViolation);
    // Nor its key index that the foreign keys rely on.
    QCOMPARE(Raised([&] { p->DeleteIndex(QStringLiteral("ByCode")); }).ErrorCode(), OstErr::ForeignKeyViolation);
}

void TstIntegrity::restructureNeverCascades() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    MakeParentChildren(tdb);
    auto p = tdb.Table(QStringLiteral("Parent"));
    p->ReadDefinitions();
    p->GetFieldDefsOst()[1]->SetSize(12);
    AddColumn(*p, "Extra", dtInteger);
    p->AlterTable();
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Cascaded").toInt(), 4);
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Guarded").toInt(), 1);

    // A restructure that would break a foreign key is refused whole.
    auto g = tdb.Table(QStringLiteral("Guarded"));
    auto retarget = [&] {
        g->ReadDefinitions();
        g->GetIntegrityRules()[0]->ParentFields = QStringLiteral("ID");
        g->GetFieldDefsOst()[1]->SetDataTypeOst(dtInteger);
        g->GetFieldDefsOst()[1]->SetSize(0);
        return Raised([&] { g->AlterTable(); });
    };
    QCOMPARE(retarget().ErrorCode(), OstErr::ConversionFailed); // 'B' is not a number
    tdb.Exec("INSERT INTO Parent(Code) VALUES('7')");             // record id 4
    tdb.Exec("UPDATE Guarded SET ParentCode = '7'");
    const EOstraError e = retarget();                               // there is no record id 7
    QVERIFY2(e.ErrorCode() == OstErr::ForeignKeyViolation && e.Message().contains("FK_Guarded"), qPrintable(e.Message()));
    QCOMPARE(tdb.Scalar("SELECT typeof(ParentCode) FROM Guarded").toString(), QStringLiteral("text"));
    // The old key still holds: '7' is a code of Parent.
    QCOMPARE(Raised([&] { tdb.Exec("UPDATE Guarded SET ParentCode = '4'"); }).ErrorCode(), OstErr::ForeignKeyViolation);
}

void TstIntegrity::checksAndLinks() {
    TestDb tdb(false);
    auto owner = tdb.Table(QStringLiteral("Owner"));
    AddColumn(*owner, "Name", dtString, 20);
    owner->CreateTable();
    tdb.Exec("INSERT INTO Owner(Name) VALUES('one')");
    auto t = tdb.Table(QStringLiteral("Item"));
    AddColumn(*t, "Price", dtFloat);
    AddColumn(*t, "Owner", dtLink)->SetSpec(QStringLiteral("Owner"));
    TCheckConstraint* ck = t->CheckConstraints().Add();
    ck->ImportedConstraint = QStringLiteral("Price >= 0 and Price < 1000");
    ck->ErrorMessage = QStringLiteral("Prices run from 0 to 999");
    t->CreateTable();
    t->Open();
    EOstraError e = Raised([&] { t->AppendRecord({-1.0}); });
    t->Cancel();
    QCOMPARE(e.Message(), QStringLiteral("Prices run from 0 to 999"));
    e = Raised([&] { t->AppendRecord({5.0, 42}); });
    t->Cancel();
    QVERIFY2(e.Message().contains("Owner") && e.Message().contains("42"), qPrintable(e.Message()));
    t->AppendRecord({5.0, 1});
    QCOMPARE(t->RecordCount(), 1);
}

void TstIntegrity::collationsSortAndCompare() {
    TestDb tdb(true);
    auto t = tdb.Table(QStringLiteral("Words"));
    t->SetCollationName(QStringLiteral("de_DE_ci_ai"));
    AddColumn(*t, "Word", dtWideString, 30);
    AddColumn(*t, "Exact", dtString, 30)->SetSpec(QStringLiteral("Ostra"));
    t->IndexDefs().Add(QStringLiteral("ByWord"), QStringLiteral("Word"), ixUnique);
    t->CreateTable();
    tdb.Exec(QString::fromUtf8("INSERT INTO Words VALUES('Zebra','Zebra'), ('\xc3\xa4pfel','\xc3\xa4pfel'), ('Birne','Birne')"));
    QCOMPARE(tdb.Scalar("SELECT group_concat(Word) FROM (SELECT Word FROM Words ORDER BY Word)").toString(),
             QString::fromUtf8("\xc3\xa4pfel,Birne,Zebra"));
    QCOMPARE(tdb.Scalar("SELECT group_concat(Exact) FROM (SELECT Exact FROM Words ORDER BY Exact)").toString(),
             QString::fromUtf8("Birne,Zebra,\xc3\xa4pfel"));
    // Case and accents do not tell keys apart in a _ci_ai column.
    QCOMPARE(Raised([&] { tdb.Exec("INSERT INTO Words(Word) VALUES('APFEL')"); }).ErrorCode(), OstErr::KeyViolation);
    auto r = tdb.Table(QStringLiteral("Words"));
    r->Open();
    r->SetFilter(QStringLiteral("Word = 'BIRNE'"));
    r->SetFiltered(true);
    QCOMPARE(r->RecordCount(), 1);
    r->Close();
    // Lowering the level below 6 needs the collations gone.
    r->ReadDefinitions();
    r->SetTableLevel(5);
    QCOMPARE(Raised([&] { r->AlterTable(); }).ErrorCode(), OstErr::LevelViolation);
    r->SetCollationName(QStringLiteral("Ostra"));
    r->GetFieldDefsOst()[1]->SetCollationName(QString());
    r->AlterTable();
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Words WHERE Word = 'BIRNE'").toInt(), 0);
}

QTEST_GUILESS_MAIN(TstIntegrity)
#include "tst_integrity.moc"
