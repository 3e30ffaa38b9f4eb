// Table operations on what is stored: create, delete, empty and rename a
// table, add and drop single indexes. Each runs in one transaction (a
// directory database's file operations around it are undone on failure) and
// keeps the installed extensions (fulltext indexes) in step.
#include "engine/store/osttableops.h"

#include "engine/filter/ostfilter.h"
#include "engine/store/ostcollation.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostfileswap.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalidate.h"
#include "engine/store/osttableextension.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

namespace {

QString NewUid() {
    return QString::number(QRandomGenerator::global()->generate64() & 0xFFFFFFFFFFFFull, 36);
}

} // namespace

OstTableMeta OstStoredMeta(OstConnection& c, const QString& name) {
    OstTableMeta m;
    if (!c.TableExists(name))
        throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(name));
    if (!c.ReadMeta(name, m)) throw c.UnreadableTable(name, QStringLiteral("it holds no table definition"));
    m.name = name;
    return m;
}

OstTableMeta OstCreateStoredTable(OstConnection& c, const OstTableMeta& wanted) {
    const QString name = wanted.name;
    if (c.TableExists(name)) {
        OstTableMeta existing;
        bool read = false;
        try { read = c.ReadMeta(name, existing); } catch (const EOstraError&) {}
        if (!read)
            throw EOstraError(OstErr::AlreadyExists,
                              QStringLiteral("Table \"%1\" cannot be created: the file \"%2\" is in the way and is not a readable "
                                             "Ostra table (damaged, or another program's file)").arg(name, c.TableFile(name)));
        throw EOstraError(OstErr::AlreadyExists, QStringLiteral("Table \"%1\" already exists").arg(name));
    }
    OstTableMeta m = wanted;
    m.uid = NewUid();
    m.icuVersion = OstIcuCollatorVersion();
    for (OstColumnMeta& col : m.columns) col.number = m.nextNumber++;
    OstValidateMeta(m, &c);
    const bool newFile = !c.SingleFile();
    try {
        c.PrepareForWrite(name);
    } catch (const EOstraError& e) {
        if (e.ErrorCode() != OstErr::NotFound) throw;
    }
    OstExtensions::Prepare(c, m); // dictionaries made and reachable before the table's file exists
    try {
        const OstTableLocation loc = c.Locate(name, true);
        OstInTransaction(c, [&] {
            c.ExecDdl(OstCreateTableSql(m, loc.schema, loc.table));
            for (const QString& sql : OstCreateIndexesSql(m, loc.schema, loc.table)) c.ExecDdl(sql);
            c.WriteMeta(m);
            OstExtensions::AfterChange(c, loc, OstTableMeta(), m, true);
        });
    } catch (...) {
        // A new file goes with its journal: nothing of the attempt is left.
        if (newFile) {
            try {
                c.Release(name);
            } catch (...) {
            }
            QFile::remove(c.TableFile(name));
            QFile::remove(c.TableFile(name) + QStringLiteral("-journal"));
        }
        try {
            throw;
        } catch (const EOstraError& e) {
            throw OstNameIoError(e, QStringLiteral("table \"%1\"").arg(name), c.TableFile(name));
        }
    }
    c.BumpGeneration();
    return m;
}

void OstDeleteStoredTable(OstConnection& c, const QString& name) {
    const OstTableMeta m = OstStoredMeta(c, name);
    OstExtensions::CheckDeletable(c, name);
    for (const OstTableMeta& other : c.CachedMetas()) {
        if (other.name.compare(name, Qt::CaseInsensitive) == 0) continue;
        for (const OstForeignKeyMeta& fk : other.foreignKeys)
            if (fk.parentTable.compare(name, Qt::CaseInsensitive) == 0)
                throw EOstraError(OstErr::ForeignKeyViolation,
                                  QStringLiteral("Table \"%1\" cannot be deleted: foreign key %2 of table \"%3\" refers to it")
                                      .arg(name, fk.name, other.name));
    }
    OstTableLock lock(c.TableFile(name), name, true);
    if (!m.fulltext.isEmpty()) c.PrepareForWrite(name); // its words leave the dictionaries
    if (c.SingleFile()) {
        const OstTableLocation loc = c.Locate(name);
        OstInTransaction(c, [&] {
            OstExtensions::BeforeChange(c, loc, m, OstTableMeta(), true);
            c.Exec(QStringLiteral("DROP TABLE %1").arg(loc.qualified()));
            c.DeleteMeta(name);
        });
    } else {
        if (!m.fulltext.isEmpty()) {
            const OstTableLocation loc = c.Locate(name);
            OstInTransaction(c, [&] { OstExtensions::BeforeChange(c, loc, m, OstTableMeta(), true); });
        }
        c.Release(name);
        const QString file = c.TableFile(name);
        if (!QFile::remove(file))
            throw EOstraError(OstErr::IoError, QStringLiteral("Cannot delete the file of table \"%1\"").arg(name));
        QFile::remove(file + QStringLiteral("-journal"));
        // Its lock file goes too, while this component still holds the table exclusively.
        QFile::remove(file + QStringLiteral("-lock"));
    }
    c.BumpGeneration();
}

void OstEmptyStoredTable(OstConnection& c, const QString& name) {
    const OstTableMeta m = OstStoredMeta(c, name);
    c.PrepareForWrite(name);
    const OstTableLocation loc = c.Locate(name);
    OstInTransaction(c, [&] {
        // Extensions (fulltext indexes) are built again over no rows rather than emptied record by record.
        OstExtensions::BeforeChange(c, loc, m, m, true);
        c.Exec(QStringLiteral("DELETE FROM %1").arg(loc.qualified()));
        OstExtensions::AfterChange(c, loc, m, m, true);
    });
    if (!m.fulltext.isEmpty()) c.BumpGeneration();
}

void OstCheckRenameTarget(OstConnection& c, const QString& name, const QString& newName) {
    if (newName.compare(name, Qt::CaseInsensitive) != 0 && c.TableExists(newName))
        throw EOstraError(OstErr::AlreadyExists, QStringLiteral("Table \"%1\" already exists").arg(newName));
}

void OstRenameStoredTable(OstConnection& c, const QString& name, const QString& newName) {
    OstCheckRenameTarget(c, name, newName);
    OstTableMeta m = OstStoredMeta(c, name);
    {
        // Tables that refer to this one follow the new name.
        QList<OstTableMeta> referring;
        for (const OstTableMeta& other : c.CachedMetas()) {
            if (other.name.compare(name, Qt::CaseInsensitive) == 0) continue;
            OstTableMeta o = other;
            bool touched = false;
            for (OstForeignKeyMeta& fk : o.foreignKeys)
                if (fk.parentTable.compare(name, Qt::CaseInsensitive) == 0) { fk.parentTable = newName; touched = true; }
            for (OstFulltextMeta& f : o.fulltext) // a dictionary follows the new name too
                if (OstNormalizeTableName(f.dictionary, false).compare(name, Qt::CaseInsensitive) == 0) { f.dictionary = newName; touched = true; }
            for (OstColumnMeta& col : o.columns)
                if (IsLinkType(col.type) && OstNormalizeTableName(col.spec, c.SingleFile()).compare(name, Qt::CaseInsensitive) == 0) {
                    col.spec = newName;
                    touched = true;
                }
            if (touched) referring.append(o);
        }
        for (OstForeignKeyMeta& fk : m.foreignKeys)
            if (fk.parentTable.compare(name, Qt::CaseInsensitive) == 0) fk.parentTable = newName;
        const QString oldName = m.name;
        m.name = newName;
        if (c.SingleFile()) {
            const OstTableLocation loc = c.Locate(name);
            OstInTransaction(c, [&] {
                // SQLite takes a rename that changes only the case as a clash; it goes by way of a free name.
                if (newName.compare(name, Qt::CaseInsensitive) == 0) {
                    const QString step = QStringLiteral("__ostra_rename_%1").arg(m.uid);
                    c.Exec(QStringLiteral("ALTER TABLE %1 RENAME TO %2").arg(loc.qualified(), OstQuoteIdent(step)));
                    c.Exec(QStringLiteral("ALTER TABLE %1.%2 RENAME TO %3").arg(loc.schema, OstQuoteIdent(step), OstQuoteIdent(newName)));
                } else {
                    c.Exec(QStringLiteral("ALTER TABLE %1 RENAME TO %2").arg(loc.qualified(), OstQuoteIdent(newName)));
                }
                c.WriteMeta(m, oldName);
                for (const OstTableMeta& o : referring) c.WriteMeta(o);
            });
        } else {
            for (const OstTableMeta& o : referring) c.Locate(o.name);
            c.Release(name);
            const QString from = c.TableFile(name);
            const QString to = QFileInfo(from).dir().filePath(newName + QLatin1Char('.') + QFileInfo(from).suffix());
            if (QFile::exists(from + QStringLiteral("-journal")))
                throw EOstraError(OstErr::Locked, QStringLiteral("Table \"%1\" has an unfinished transaction").arg(name));
            if (!QFile::rename(from, to))
                throw EOstraError(OstErr::IoError, QStringLiteral("Cannot rename the file of table \"%1\"").arg(name));
            try {
                const OstTableLocation loc = c.Locate(newName);
                OstInTransaction(c, [&] {
                    if (newName.compare(name, Qt::CaseInsensitive) != 0)
                        c.Exec(QStringLiteral("ALTER TABLE %1.%2 RENAME TO %3").arg(loc.schema, OstQuoteIdent(name), OstQuoteIdent(newName)));
                    c.WriteMeta(m);
                });
                for (const OstTableMeta& o : referring) OstInTransaction(c, [&] { c.WriteMeta(o); });
            } catch (...) {
                c.Release(newName);
                QFile::rename(to, from);
                throw;
            }
        }
        c.BumpGeneration();
    }
}

OstTableMeta OstPlanAddIndex(OstConnection& c, const QString& table, const QString& name, const QString& fields, TIndexOptions options,
                             const QString& descFields, int capacity) {
    OstTableMeta m = OstStoredMeta(c, table);
    for (const OstIndexMeta& ix : m.indexes)
        if (ix.name == name) throw EOstraError(OstErr::AlreadyExists, QStringLiteral("Index \"%1\" already exists").arg(name));
    OstIndexMeta ix;
    ix.name = name;
    if (options & ixExpression) ix.expression = fields;
    else {
        // "Name;-Date" style descending marks are accepted as well as a separate list.
        QStringList plain, desc = OstSplitFields(descFields);
        for (QString e : OstSplitFields(fields)) {
            if (e.startsWith(QLatin1Char('-'))) { e = e.mid(1).trimmed(); desc << e; }
            plain << e;
        }
        ix.fields = plain.join(QLatin1Char(';'));
        ix.descFields = desc.join(QLatin1Char(';'));
    }
    ix.options = static_cast<int>(options.toInt());
    ix.capacity = capacity;
    m.indexes.append(ix);
    OstValidateMeta(m, &c);
    return m;
}

void OstAddStoredIndex(OstConnection& c, const QString& table, const OstTableMeta& planned) {
    const OstIndexMeta& ix = planned.indexes.last();
    const OstTableLocation loc = c.Locate(table);
    OstInTransaction(c, [&] {
        if (!(ix.options & ixNonMaintained)) c.ExecDdl(OstIndexSql(planned, ix, loc.schema, loc.table));
        c.WriteMeta(planned);
    });
    c.BumpGeneration();
}

OstTableMeta OstPlanDeleteIndex(OstConnection& c, const QString& table, const QString& name, OstIndexMeta& dropped) {
    OstTableMeta m = OstStoredMeta(c, table);
    int at = -1;
    for (int i = 0; i < m.indexes.size(); ++i)
        if (m.indexes[i].name == name) at = i;
    if (at < 0)
        for (int i = 0; i < m.indexes.size(); ++i)
            if (m.indexes[i].name.compare(name, Qt::CaseInsensitive) == 0) at = i;
    if (at < 0) throw EOstraError(OstErr::NotFound, QStringLiteral("Index \"%1\" does not exist in table \"%2\"").arg(name, table));
    dropped = m.indexes.takeAt(at);
    const OstIndexMeta& ix = dropped;
    // Foreign keys of other tables may rely on this index as their unique parent key.
    OstValidateMeta(m, &c);
    for (const OstTableMeta& other : c.CachedMetas())
        for (const OstForeignKeyMeta& fk : other.foreignKeys)
            if (fk.parentTable.compare(table, Qt::CaseInsensitive) == 0 && (ix.options & (ixUnique | ixPrimary))) {
                bool stillUnique = false;
                for (const OstIndexMeta& rest : m.indexes) {
                    if (!(rest.options & (ixUnique | ixPrimary)) || (rest.options & ixExpression)) continue;
                    QStringList a, b;
                    for (const QString& e : OstSplitFields(rest.fields)) { QString col; int l; OstParseFieldEntry(e, col, l); a << col.toLower(); }
                    for (const QString& e : OstSplitFields(fk.parentFields)) { QString col; int l; OstParseFieldEntry(e, col, l); b << col.toLower(); }
                    a.sort(); b.sort();
                    if (a == b) stillUnique = true;
                }
                QStringList keyCols;
                for (const QString& e : OstSplitFields(fk.parentFields)) { QString col; int l; OstParseFieldEntry(e, col, l); keyCols << col.toLower(); }
                const int ai = OstAutoIncColumn(m);
                if (ai >= 0 && keyCols == QStringList{m.columns[ai].name.toLower()}) stillUnique = true;
                if (!stillUnique)
                    throw EOstraError(OstErr::ForeignKeyViolation,
                                      QStringLiteral("Index \"%1\" cannot be deleted: foreign key %2 of table \"%3\" needs it")
                                          .arg(ix.name, fk.name, other.name));
            }
    return m;
}

void OstDeleteStoredIndex(OstConnection& c, const QString& table, const OstTableMeta& planned, const OstIndexMeta& dropped) {
    const OstTableLocation loc = c.Locate(table);
    OstInTransaction(c, [&] {
        c.Exec(QStringLiteral("DROP INDEX IF EXISTS %1.%2").arg(loc.schema, OstQuoteIdent(OstIndexPhysicalName(planned, dropped.name))));
        c.WriteMeta(planned);
    });
    c.BumpGeneration();
}
