#include "constraints_helper.h"

#include "engine/ostquery.h"

namespace {
int s_counter = 0;
}

ShopDb::ShopDb(bool singleFile) {
    db.SetDatabaseName(QStringLiteral("Shop%1").arg(++s_counter));
    db.SetDatabaseType(singleFile ? dbtSingleFile : dbtDirectory);
    db.SetLocation(singleFile ? dir.filePath("shop.ostd") : dir.filePath("shop"));
    db.CreateDatabase();
    TOstTable c;
    c.SetDatabaseName(db.GetDatabaseName());
    c.SetTableName("Customers");
    c.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
    c.GetFieldDefsOst().Add("Code", dtString, 10)->SetNullable(false);
    c.GetFieldDefsOst().Add("Name", dtString, 20);
    c.IndexDefs().Add("ByCode", "Code", ixUnique);
    c.CreateTable();
    TOstTable o;
    o.SetDatabaseName(db.GetDatabaseName());
    o.SetTableName("Orders");
    o.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
    o.GetFieldDefsOst().Add("CustCode", dtString, 10);
    o.GetFieldDefsOst().Add("Amount", dtInteger, 0);
    o.CreateTable();
    Exec("INSERT INTO Customers(Code, Name) VALUES('A', 'Ann'), ('B', 'Bob'), ('C', 'Cid')");
    Exec("INSERT INTO Orders(CustCode, Amount) VALUES('A', 10), ('A', 20), ('B', 30), ('C', 40)");
}

std::unique_ptr<TOstTable> ShopDb::Open(const QString& table) const {
    auto t = std::make_unique<TOstTable>();
    t->SetDatabaseName(db.GetDatabaseName());
    t->SetTableName(table);
    t->Open();
    return t;
}

QVariant ShopDb::Scalar(const QString& sql) const {
    TOstQuery q;
    q.SetDatabaseName(db.GetDatabaseName());
    q.SetSQL(sql);
    q.Open();
    return q.IsEmpty() ? QVariant() : q.Fields()[0]->Value();
}

void ShopDb::Exec(const QString& sql) const {
    TOstQuery q;
    q.SetDatabaseName(db.GetDatabaseName());
    q.SetSQL(sql);
    q.ExecSQL();
}

QString ShopDb::Refused(const QString& sql) const {
    try {
        Exec(sql);
    } catch (const Exception& e) {
        return e.Message();
    }
    return QString();
}
