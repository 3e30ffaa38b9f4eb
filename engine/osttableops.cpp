// Table operations that change what is stored: create, delete, empty, rename,
// and adding or dropping single indexes.
#include "ostconnection.h"
#include "ostcollation.h"
#include "ostdataset.h"
#include "ostfileswap.h"
#include "ostfilter.h"
#include "ostfulltext.h"
#include "ostmeta.h"
#include "ostschema.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

namespace {

QString NewUid() {
    return QString::number(QRandomGenerator::global()->generate64() & 0xFFFFFFFFFFFFull, 36);
}
} // namespace

// Shared helpers for TOstTable's operations.
class OstTableOps {
public:
    static QString Name(TOstTable* t, const std::shared_ptr<OstConnection>& c) {
        const QString n = OstNormalizeTableName(t->GetTableName(), c->SingleFile());
        OstValidateTableName(n, c->SingleFile());
        return c->StoredTableName(n);
    }
    static OstTableMeta Stored(OstConnection& c, const QString& name) {
        OstTableMeta m;
        if (!c.TableExists(name))
            throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(name));
        if (!c.ReadMeta(name, m)) throw c.UnreadableTable(name, QStringLiteral("it holds no table definition"));
        m.name = name;
        return m;
    }
    // Runs an operation that needs the table to itself: this component's own
    // cursor is closed around it and reopened afterwards.
    template <class F> static void Exclusive(TOstTable* t, OstConnection& c, const QString& name, F&& work) {
        const bool wasActive = t->Active();
        const qint64 id = wasActive ? t->RecordId() : 0;
        if (wasActive) t->Close();
        try {
            OstTableLock lock(c.TableFile(name), name, true);
            work();
        } catch (...) {
            if (wasActive) { try { t->Open(); t->FindRecordId(id); } catch (...) {} }
            throw;
        }
        if (wasActive) { t->Open(); t->FindRecordId(id); }
    }
};

void TOstTable::CreateTable() {
    CheckInactive("create the table");
    auto c = RequireConnection();
    if (c->ReadOnly()) throw EOstraError(OstErr::ReadOnly, QStringLiteral("The database is opened read-only"));
    const QString name = OstTableOps::Name(this, c);
    if (c->TableExists(name)) {
        OstTableMeta existing;
        bool read = false;
        try { read = c->ReadMeta(name, existing); } catch (const EOstraError&) {}
        if (!read)
            throw EOstraError(OstErr::AlreadyExists,
                              QStringLiteral("Table \"%1\" cannot be created: the file \"%2\" is in the way and is not a readable "
                                             "Ostra table (damaged, or another program's file)").arg(name, c->TableFile(name)));
        throw EOstraError(OstErr::AlreadyExists, QStringLiteral("Table \"%1\" already exists").arg(name));
    }
    OstTableMeta m = ToMeta();
    m.name = name;
    m.uid = NewUid();
    m.icuVersion = OstIcuCollatorVersion();
    for (OstColumnMeta& col : m.columns) col.number = m.nextNumber++;
    OstValidateMeta(m, c.get());
    const bool newFile = !c->SingleFile();
    try {
        c->PrepareForWrite(name);
    } catch (const EOstraError& e) {
        if (e.ErrorCode() != OstErr::NotFound) throw;
    }
    OstFulltextPrepare(*c, m); // dictionaries made and reachable before the table's file exists
    try {
        const OstTableLocation loc = c->Locate(name, true);
        OstInTransaction(*c, [&] {
            c->ExecDdl(OstCreateTableSql(m, loc.schema, loc.table));
            for (const QString& sql : OstCreateIndexesSql(m, loc.schema, loc.table)) c->ExecDdl(sql);
            c->WriteMeta(m);
            OstFulltextAfterChange(*c, loc, OstTableMeta(), m, true);
            if (OstAutoIncColumn(m) < 0) return;
        });
    } catch (...) {
        // A new file goes with its journal: nothing of the attempt is left.
        if (newFile) {
            try {
                c->Release(name);
            } catch (...) {
            }
            QFile::remove(c->TableFile(name));
            QFile::remove(c->TableFile(name) + QStringLiteral("-journal"));
        }
        try {
            throw;
        } catch (const EOstraError& e) {
            throw OstNameIoError(e, QStringLiteral("table \"%1\"").arg(name), c->TableFile(name));
        }
    }
    c->BumpGeneration();
    // The component now holds what was stored, column numbers included.
    LoadFromMeta(m);
}

void TOstTable::DeleteTable() {
    CheckInactive("delete the table");
    auto c = RequireConnection();
    const QString name = OstTableOps::Name(this, c);
    const OstTableMeta m = OstTableOps::Stored(*c, name);
    OstFulltextCheckNotDictionary(*c, name);
    for (const OstTableMeta& other : c->CachedMetas()) {
        if (other.name.compare(name, Qt::CaseInsensitive) == 0) continue;
        for (const OstForeignKeyMeta& fk : other.foreignKeys)
            if (fk.parentTable.compare(name, Qt::CaseInsensitive) == 0)
                throw EOstraError(OstErr::ForeignKeyViolation,
                                  QStringLiteral("Table \"%1\" cannot be deleted: foreign key %2 of table \"%3\" refers to it")
                                      .arg(name, fk.name, other.name));
    }
    OstTableLock lock(c->TableFile(name), name, true);
    if (!m.fulltext.isEmpty()) c->PrepareForWrite(name); // its words leave the dictionaries
    if (c->SingleFile()) {
        const OstTableLocation loc = c->Locate(name);
        OstInTransaction(*c, [&] {
            OstFulltextBeforeChange(*c, loc, m, OstTableMeta(), true);
            c->Exec(QStringLiteral("DROP TABLE %1").arg(loc.qualified()));
            c->DeleteMeta(name);
        });
    } else {
        if (!m.fulltext.isEmpty()) {
            const OstTableLocation loc = c->Locate(name);
            OstInTransaction(*c, [&] { OstFulltextBeforeChange(*c, loc, m, OstTableMeta(), true); });
        }
        c->Release(name);
        const QString file = c->TableFile(name);
        if (!QFile::remove(file))
            throw EOstraError(OstErr::IoError, QStringLiteral("Cannot delete the file of table \"%1\"").arg(name));
        QFile::remove(file + QStringLiteral("-journal"));
        // Its lock file goes too, while this component still holds the table exclusively.
        QFile::remove(file + QStringLiteral("-lock"));
    }
    c->BumpGeneration();
}

void TOstTable::EmptyTable() {
    auto c = RequireConnection();
    const QString name = OstTableOps::Name(this, c);
    const OstTableMeta m = OstTableOps::Stored(*c, name);
    c->PrepareForWrite(name);
    const OstTableLocation loc = c->Locate(name);
    OstInTransaction(*c, [&] {
        // Fulltext indexes are built again over no rows rather than emptied record by record.
        OstFulltextBeforeChange(*c, loc, m, m, true);
        c->Exec(QStringLiteral("DELETE FROM %1").arg(loc.qualified()));
        OstFulltextAfterChange(*c, loc, m, m, true);
    });
    if (!m.fulltext.isEmpty()) c->BumpGeneration();
    if (Active()) Refresh();
}

void TOstTable::RenameTable(const QString& newNameIn) {
    auto c = RequireConnection();
    const QString name = OstTableOps::Name(this, c);
    const QString newName = OstNormalizeTableName(newNameIn, c->SingleFile());
    OstValidateTableName(newName, c->SingleFile());
    if (newName == name) return;
    OstTableMeta m = OstTableOps::Stored(*c, name);
    if (newName.compare(name, Qt::CaseInsensitive) != 0 && c->TableExists(newName))
        throw EOstraError(OstErr::AlreadyExists, QStringLiteral("Table \"%1\" already exists").arg(newName));
    OstTableOps::Exclusive(this, *c, name, [&] {
        // Tables that refer to this one follow the new name.
        QList<OstTableMeta> referring;
        for (const OstTableMeta& other : c->CachedMetas()) {
            if (other.name.compare(name, Qt::CaseInsensitive) == 0) continue;
            OstTableMeta o = other;
            bool touched = false;
            for (OstForeignKeyMeta& fk : o.foreignKeys)
                if (fk.parentTable.compare(name, Qt::CaseInsensitive) == 0) { fk.parentTable = newName; touched = true; }
            for (OstFulltextMeta& f : o.fulltext) // a dictionary follows the new name too
                if (OstNormalizeTableName(f.dictionary, false).compare(name, Qt::CaseInsensitive) == 0) { f.dictionary = newName; touched = true; }
            for (OstColumnMeta& col : o.columns)
                if (IsLinkType(col.type) && OstNormalizeTableName(col.spec, c->SingleFile()).compare(name, Qt::CaseInsensitive) == 0) {
                    col.spec = newName;
                    touched = true;
                }
            if (touched) referring.append(o);
        }
        for (OstForeignKeyMeta& fk : m.foreignKeys)
            if (fk.parentTable.compare(name, Qt::CaseInsensitive) == 0) fk.parentTable = newName;
        const QString oldName = m.name;
        m.name = newName;
        if (c->SingleFile()) {
            const OstTableLocation loc = c->Locate(name);
            OstInTransaction(*c, [&] {
                // SQLite takes a rename that changes only the case as a clash; it goes by way of a free name.
                if (newName.compare(name, Qt::CaseInsensitive) == 0) {
                    const QString step = QStringLiteral("__ostra_rename_%1").arg(m.uid);
                    c->Exec(QStringLiteral("ALTER TABLE %1 RENAME TO %2").arg(loc.qualified(), OstQuoteIdent(step)));
                    c->Exec(QStringLiteral("ALTER TABLE %1.%2 RENAME TO %3").arg(loc.schema, OstQuoteIdent(step), OstQuoteIdent(newName)));
                } else {
                    c->Exec(QStringLiteral("ALTER TABLE %1 RENAME TO %2").arg(loc.qualified(), OstQuoteIdent(newName)));
                }
                c->WriteMeta(m, oldName);
                for (const OstTableMeta& o : referring) c->WriteMeta(o);
            });
        } else {
            for (const OstTableMeta& o : referring) c->Locate(o.name);
            c->Release(name);
            const QString from = c->TableFile(name), to = QFileInfo(from).dir().filePath(newName + QStringLiteral(".dat"));
            if (QFile::exists(from + QStringLiteral("-journal")))
                throw EOstraError(OstErr::Locked, QStringLiteral("Table \"%1\" has an unfinished transaction").arg(name));
            if (!QFile::rename(from, to))
                throw EOstraError(OstErr::IoError, QStringLiteral("Cannot rename the file of table \"%1\"").arg(name));
            try {
                const OstTableLocation loc = c->Locate(newName);
                OstInTransaction(*c, [&] {
                    if (newName.compare(name, Qt::CaseInsensitive) != 0)
                        c->Exec(QStringLiteral("ALTER TABLE %1.%2 RENAME TO %3").arg(loc.schema, OstQuoteIdent(name), OstQuoteIdent(newName)));
                    c->WriteMeta(m);
                });
                for (const OstTableMeta& o : referring) OstInTransaction(*c, [&] { c->WriteMeta(o); });
            } catch (...) {
                c->Release(newName);
                QFile::rename(to, from);
                throw;
            }
        }
        c->BumpGeneration();
        m_tableName = newName;
    });
}

void TOstTable::AddIndex(const QString& name, const QString& fields, TIndexOptions options, const QString& descFields) {
    auto c = RequireConnection();
    const QString table = OstTableOps::Name(this, c);
    OstTableMeta m = OstTableOps::Stored(*c, table);
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
    m.indexes.append(ix);
    OstValidateMeta(m, c.get());
    OstTableOps::Exclusive(this, *c, table, [&] {
        if (OnProgress) { bool abort = false; OnProgress(this, 0, abort); }
        const OstTableLocation loc = c->Locate(table);
        OstInTransaction(*c, [&] {
            if (!(options & ixNonMaintained)) c->ExecDdl(OstIndexSql(m, ix, loc.schema, loc.table));
            c->WriteMeta(m);
        });
        c->BumpGeneration();
        if (OnProgress) { bool abort = false; OnProgress(this, 100, abort); }
    });
    LoadFromMeta(m);
}

void TOstTable::DeleteIndex(const QString& name) {
    auto c = RequireConnection();
    const QString table = OstTableOps::Name(this, c);
    OstTableMeta m = OstTableOps::Stored(*c, table);
    int at = -1;
    for (int i = 0; i < m.indexes.size(); ++i)
        if (m.indexes[i].name == name) at = i;
    if (at < 0)
        for (int i = 0; i < m.indexes.size(); ++i)
            if (m.indexes[i].name.compare(name, Qt::CaseInsensitive) == 0) at = i;
    if (at < 0) throw EOstraError(OstErr::NotFound, QStringLiteral("Index \"%1\" does not exist in table \"%2\"").arg(name, table));
    const OstIndexMeta ix = m.indexes.takeAt(at);
    // Foreign keys of other tables may rely on this index as their unique parent key.
    OstValidateMeta(m, c.get());
    for (const OstTableMeta& other : c->CachedMetas())
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
    OstTableOps::Exclusive(this, *c, table, [&] {
        const OstTableLocation loc = c->Locate(table);
        OstInTransaction(*c, [&] {
            c->Exec(QStringLiteral("DROP INDEX IF EXISTS %1.%2").arg(loc.schema, OstQuoteIdent(OstIndexPhysicalName(m, ix.name))));
            c->WriteMeta(m);
        });
        c->BumpGeneration();
    });
    LoadFromMeta(m);
}

// AddFulltextIndex2 and DeleteFulltextIndex: ostfulltexttable.cpp.
