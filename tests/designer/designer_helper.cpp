#include "designer_helper.h"

#include "engine/ostquery.h"

PeopleTable::PeopleTable() {
    TOstDatabase db;
    db.SetLocation(location);
    db.CreateDatabase();
    TOstTable t;
    t.SetDatabaseName(location);
    t.SetTableName("People");
    t.GetFieldDefsOst().Add("ID", dtAutoInc, 0)->SetSpec("\"Name\"");
    t.GetFieldDefsOst().Add("Name", dtString, 30)->SetNullable(false);
    t.GetFieldDefsOst().Add("City", dtString, 20);
    t.GetFieldDefsOst().Add("Age", dtInteger, 0);
    t.IndexDefs().Add("ByCity", "City", TIndexOptions());
    t.CreateTable();
    t.Open();
    t.AppendRecord({QVariant(), "Ann", "Oslo", 31});
    t.AppendRecord({QVariant(), "Bob", "Rome", 45});
    t.AppendRecord({QVariant(), "Cid", "Oslo", 27});
    t.Close();
    table = Open();
}

std::unique_ptr<TOstTable> PeopleTable::Open() const {
    auto t = std::make_unique<TOstTable>();
    t->SetDatabaseName(location);
    t->SetTableName("People");
    t->Open();
    return t;
}

QStringList ColumnOf(const QString& location, const QString& sql) {
    TOstQuery q;
    q.SetDatabaseName(location);
    q.SetSQL(sql);
    q.Open();
    QStringList values;
    for (q.First(); !q.Eof(); q.Next()) values.append(q.Fields()[0]->AsString());
    return values;
}
