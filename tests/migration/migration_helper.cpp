// Fixtures of the migration tests (see migration_helper.h).
#include "migration_helper.h"

#include "engine/ostquery.h"

#include <QSqlError>
#include <QSqlQuery>

SqliteSource::SqliteSource(const QStringList& statements) {
    const QString name = QStringLiteral("sqlite-source-%1").arg(reinterpret_cast<quintptr>(this));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(file);
        if (!db.open()) qFatal("cannot make %s", qPrintable(file));
        QSqlQuery q(db);
        for (const QString& s : statements)
            if (!q.exec(s)) qFatal("%s: %s", qPrintable(s), qPrintable(q.lastError().text()));
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
}

QVariant SqliteSource::Scalar(const QString& sql) const {
    const QString name = QStringLiteral("sqlite-scalar");
    QVariant v;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(file);
        db.open();
        QSqlQuery q(db);
        if (q.exec(sql) && q.next()) v = q.value(0);
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return v;
}

TargetDb::TargetDb() {
    db = std::make_unique<TOstDatabase>();
    db->SetDatabaseName(QStringLiteral("Target"));
    db->SetDatabaseType(dbtSingleFile);
    db->SetLocation(dir.filePath(QStringLiteral("target.ostd")));
    db->CreateDatabase();
    db->SetConnected(true);
}

QVariant TargetDb::Scalar(const QString& sql) {
    TOstQuery q;
    q.SetDatabaseName(db->GetDatabaseName());
    q.SetSQL(sql);
    q.Open();
    return q.Fields().Count() && !q.IsEmpty() ? q.Fields()[0]->Value() : QVariant();
}

bool TargetDb::TableExists(const QString& name) {
    QStringList names;
    db->GetTableNames(names);
    return names.contains(name, Qt::CaseInsensitive);
}
