#include "engine_helper.h"

static int s_counter = 0;

TestDb::TestDb(bool singleFile, bool managed) {
    db = std::make_unique<TOstDatabase>(nullptr);
    db->SetDatabaseName(QStringLiteral("TestDb%1").arg(++s_counter));
    location = singleFile ? dir.filePath(QStringLiteral("test.ostd")) : dir.filePath(QStringLiteral("db"));
    db->SetDatabaseType(singleFile ? dbtSingleFile : dbtDirectory);
    db->SetManaged(managed);
    db->SetLocation(location);
    db->CreateDatabase();
}

std::unique_ptr<TOstTable> TestDb::Table(const QString& name) {
    auto t = std::make_unique<TOstTable>(nullptr);
    t->SetDatabaseName(db->GetDatabaseName());
    t->SetTableName(name);
    return t;
}

QVariant TestDb::Scalar(const QString& sql) {
    TOstQuery q;
    q.SetDatabaseName(db->GetDatabaseName());
    q.SetSQL(sql);
    q.Open();
    return q.IsEmpty() ? QVariant() : q.Fields()[0]->Value();
}

void TestDb::Exec(const QString& sql) {
    TOstQuery q;
    q.SetDatabaseName(db->GetDatabaseName());
    q.SetSQL(sql);
    q.ExecSQL();
}

TOstFieldDef* AddColumn(TOstTable& t, const QString& name, int type, int size, bool nullable) {
    TOstFieldDef* d = t.GetFieldDefsOst().Add(name, type, size);
    d->SetNullable(nullable);
    return d;
}
