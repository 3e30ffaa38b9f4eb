// ostra sql on a directory database whose parent table has more children than
// can be attached at once: referenced parents stay, cascades reach every
// child that refers to them.
#include "cli_helper.h"

#include <QtTest>

class TstCliForeignKeys : public QObject {
    Q_OBJECT
private slots:
    void sqlReachesEveryChild_data();
    void sqlReachesEveryChild();
};

void TstCliForeignKeys::sqlReachesEveryChild_data() {
    QTest::addColumn<QString>("action");
    QTest::newRow("reject") << QStringLiteral("Reject");
    QTest::newRow("cascade") << QStringLiteral("Cascade");
}

void TstCliForeignKeys::sqlReachesEveryChild() {
    QFETCH(QString, action);
    CliDb d(false, "family");
    const QString& db = d.db;
    EXPECT_OK(d.Create({{"Parent.json", R"js({"name": "Parent", "columns": [{"name": "Id", "type": "dtAutoInc"},
        {"name": "Code", "type": "dtString", "size": 10}], "indexes": [{"name": "ByCode", "fields": "Code", "options": ["unique"]}]})js"}}));
    constexpr int children = 12;
    EXPECT_OK(RunOstra({QStringLiteral("sql"), db, QStringLiteral("INSERT INTO Parent(Code) VALUES('A'), ('B')")}));
    for (int i = 1; i <= children; ++i) {
        const QString name = QStringLiteral("Child%1").arg(i, 2, 10, QLatin1Char('0'));
        EXPECT_OK(RunOstra({"create-table", db, d.File(name + ".json", QStringLiteral(R"js({"name": "%1", "columns": [
            {"name": "Id", "type": "dtAutoInc"}, {"name": "ParentCode", "type": "dtString", "size": 10}],
            "foreignKeys": [{"name": "FK_%1", "parentTable": "Parent", "childFields": "ParentCode", "parentFields": "Code",
                             "onUpdate": "%2", "onDelete": "%2"}]})js").arg(name, action).toUtf8())}));
        EXPECT_OK(RunOstra({QStringLiteral("sql"), db, QStringLiteral("INSERT INTO %1(ParentCode) VALUES('A')").arg(name)}));
    }
    EXPECT_OK(RunOstra({QStringLiteral("sql"), db, QStringLiteral("INSERT INTO Child%1(ParentCode) VALUES('B')").arg(children)}));

    const CliRun r = RunOstra({QStringLiteral("sql"), db, QStringLiteral("DELETE FROM Parent WHERE Code = 'B'")});
    const QString childB = QStringLiteral("SELECT count(*) AS n FROM Child%1 WHERE ParentCode = 'B'").arg(children);
    if (action == QStringLiteral("Reject")) {
        QVERIFY2(r.finished && r.exitCode == 1 && r.err.contains(QStringLiteral("Child12")), r.Describe().constData());
        QCOMPARE(SqlCsv(db, QStringLiteral("SELECT count(*) AS n FROM Parent")), QStringLiteral("n\n2\n"));
        QCOMPARE(SqlCsv(db, childB), QStringLiteral("n\n1\n"));
    } else {
        EXPECT_OK(r);
        QCOMPARE(SqlCsv(db, QStringLiteral("SELECT count(*) AS n FROM Parent")), QStringLiteral("n\n1\n"));
        QCOMPARE(SqlCsv(db, childB), QStringLiteral("n\n0\n"));
    }
}

QTEST_GUILESS_MAIN(TstCliForeignKeys)
#include "tst_cliforeignkeys.moc"
