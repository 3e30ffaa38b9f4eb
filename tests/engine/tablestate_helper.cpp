#include "tablestate_helper.h"

#include "engine/store/ostconnection.h"
#include "engine/crypt/ostcryptaccess.h"
#include "engine/store/ostmeta.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>

QByteArray TableState::Describe() const {
    return QStringLiteral("method %1, %2 rows, checksum %3, definition %4, schema %5")
        .arg(method)
        .arg(rows)
        .arg(QString::fromLatin1(checksum.toHex().left(12)), definition.left(300), schema.left(300))
        .toUtf8();
}

TableState StateOf(TOstDatabase& db, const QString& table) {
    TableState s;
    auto c = db.Connection();
    OstTableMeta m;
    if (!c->TableExists(table) || !c->ReadMeta(table, m)) return s;
    s.definition = QString::fromUtf8(QJsonDocument(m.ToJson()).toJson(QJsonDocument::Compact));
    s.method = OstCryptStoredMethod(c->TableFile(table));
    const OstTableLocation loc = c->Locate(table);
    {
        OstStmt sch(c->Db(), QStringLiteral("SELECT type, name, sql FROM %1.sqlite_schema WHERE tbl_name = ?1 COLLATE NOCASE "
                                            "ORDER BY type, name").arg(loc.schema));
        sch.Bind(1, table);
        while (sch.Step()) s.schema += sch.Text(0) + u' ' + sch.Text(1) + u' ' + sch.Text(2) + u'\n';
    }
    OstStmt st(c->Db(), QStringLiteral("SELECT rowid, * FROM %1 ORDER BY rowid").arg(loc.qualified()));
    QCryptographicHash hash(QCryptographicHash::Sha256);
    s.rows = 0;
    while (st.Step()) {
        ++s.rows;
        for (int i = 0; i < st.ColumnCount(); ++i) {
            hash.addData(st.IsNull(i) ? QByteArrayView("\\N") : QByteArrayView(st.Text(i).toUtf8()));
            hash.addData(QByteArrayView("\x1f"));
        }
    }
    s.checksum = hash.result();
    return s;
}

QStringList Leftovers(const QString& location) {
    const QFileInfo info(location);
    const QDir dir = info.isDir() ? QDir(location) : info.absoluteDir();
    QStringList out;
    for (const QString& f : dir.entryList(QDir::Files | QDir::Hidden)) {
        if (f.endsWith(QStringLiteral("-lock")) || f == QStringLiteral("ostra.ostc")) continue;
        if (info.isDir() ? f.endsWith(QStringLiteral(".dat")) : f == info.fileName()) continue;
        out.append(f);
    }
    return out;
}
