// ostra sql on a directory database whose parent table has more children than
// can be attached at once: referenced parents stay, cascades reach every
// child that refers to them.
#include "cli_helper.h"

#include <QTemporaryDir>
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
    QTemporaryDir tmp;
    const QString db = tmp.filePath(QStringLiteral("family"));
    auto ok = [](const CliRun& r) { QVERIFY2(r.finished && r.exitCode == 0, r.Describe().constData()); };
    ok(RunOstra({QStringLiteral("create-db"), db}));
    WriteTextFile(tmp.filePath(QStringLiteral("Parent.json")),
                  R"js({"name": "Parent", "columns": [{"name": "Id", "type": "dtAutoInc"}, {"name": "Code", "type": "dtString", "size": 10}],
                        "indexes": [{"name": "ByCode", "fields": "Code", "options": ["unique"]}]})js");
    ok(RunOstra({QStringLiteral("create-table"), db, tmp.filePath(QStringLiteral("Parent.json"))}));
    constexpr int children = 12;
    ok(RunOstra({QStringLiteral("sql"), db, QStringLiteral("INSERT INTO Parent(Code) VALUES('A'), ('B')")}));
    for (int i = 1; i <= children; ++i) {
        const QString name = QStringLiteral("Child%1").arg(i, 2, 10, QLatin1Char('0'));
        WriteTextFile(tmp.filePath(name + QStringLiteral(".json")),
                      QStringLiteral(R"js({"name": "%1", "columns": [{"name": "Id", "type": "dtAutoInc"}, {"name": "ParentCode", "type": "dtString", "size": 10}],
                        "foreignKeys": [{"name": "FK_%1", "parentTable": "Parent", "childFields": "ParentCode", "parentFields": "Code",
                                         "onUpdate": "%2", "onDelete": "%2"}]})js")
                          .arg(name, action)
                          .toUtf8());
        ok(RunOstra({QStringLiteral("create-table"), db, tmp.filePath(name + QStringLiteral(".json"))}));
        ok(RunOstra({QStringLiteral("sql"), db, QStringLiteral("INSERT INTO %1(ParentCode) VALUES('A')").arg(name)}));
    }
    ok(RunOstra({QStringLiteral("sql"), db, QStringLiteral("INSERT INTO Child%1(ParentCode) VALUES('B')").arg(children)}));

    const CliRun r = RunOstra({QStringLiteral("sql"), db, QStringLiteral("DELETE FROM Parent WHERE Code = 'B'")});
    const QString childB = QStringLiteral("SELECT count(*) AS n FROM Child%1 WHERE ParentCode = 'B'").arg(children);
    if (action == QStringLiteral("Reject")) {
        QVERIFY2(r.finished && r.exitCode == 1 && r.err.contains(QStringLiteral("Child12")), r.Describe().constData());
        QCOMPARE(SqlCsv(db, QStringLiteral("SELECT count(*) AS n FROM Parent")), QStringLiteral("n\n2\n"));
        QCOMPARE(SqlCsv(db, childB), QStringLiteral("n\n1\n"));
    } else {
        ok(r);
        QCOMPARE(SqlCsv(db, QStringLiteral("SELECT count(*) AS n FROM Parent")), QStringLiteral("n\n1\n"));
        QCOMPARE(SqlCsv(db, childB), QStringLiteral("n\n0\n"));
    }
}

QTEST_GUILESS_MAIN(TstCliForeignKeys)
#include "tst_cliforeignkeys.moc"
