// TOstTable's fulltext operations: adding and dropping an index, and choosing
// the index that CONTAINS searches.
#include "ostconnection.h"
#include "ostdataset.h"
#include "ostfulltext.h"
#include "ostfulltext_p.h"
#include "ostschema.h"

namespace {


QString TableNameOf(TOstTable* t, OstConnection& c) {
    const QString n = OstNormalizeTableName(t->GetTableName(), c.SingleFile());
    OstValidateTableName(n, c.SingleFile());
    return n;
}

OstTableMeta StoredMeta(OstConnection& c, const QString& name) {
    OstTableMeta m;
    if (!c.TableExists(name) || !c.ReadMeta(name, m))
        throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(name));
    m.name = name;
    return m;
}

// Runs work with the table to itself; the component's own cursor is closed
// around it and reopened on the record it stood on.
template <class F> void Exclusive(TOstTable* t, OstConnection& c, const QString& name, F&& work) {
    const bool wasActive = t->Active();
    const qint64 id = wasActive ? t->RecordId() : 0;
    if (wasActive) t->Close();
    try {
        OstTableLock lock(c.TableFile(name), name, true);
        work();
    } catch (...) {
        if (wasActive) {
            try {
                t->Open();
                t->FindRecordId(id);
            } catch (...) {
            }
        }
        throw;
    }
    if (wasActive) {
        t->Open();
        t->FindRecordId(id);
    }
}

void Progress(TOstTable* t, int percent) {
    if (!t->OnProgress) return;
    bool abort = false;
    t->OnProgress(t, percent, abort);
}

} // namespace

// The minimum relevance and options come from a definition of the same name
// that the component holds, if any (the designer's copy); 0 otherwise.
void TOstTable::AddFulltextIndex2(const QString& name, const QString& fields, const QString& dictionary, const QString& separators) {
    auto c = RequireConnection();
    if (c->ReadOnly()) throw EOstraError(OstErr::ReadOnly, QStringLiteral("The database is opened read-only"));
    const QString table = TableNameOf(this, *c);
    const OstTableMeta before = StoredMeta(*c, table);
    if (OstFts::Find(before, name))
        throw EOstraError(OstErr::AlreadyExists, QStringLiteral("Fulltext index \"%1\" already exists").arg(name));
    OstFulltextMeta f;
    f.name = name.trimmed();
    f.fields = fields;
    f.dictionary = dictionary.trimmed();
    f.separators = separators == OstDefaultFulltextSeparators ? QString() : separators;
    const int held = m_fulltextDefs.IndexOf(f.name);
    if (held >= 0) {
        f.minRelevance = m_fulltextDefs[held]->MinRelevance;
        f.options = m_fulltextDefs[held]->Options;
    }
    OstTableMeta m = before;
    m.fulltext.append(f);
    OstValidateMeta(m, c.get());
    OstFulltextPrepare(*c, m);
    Exclusive(this, *c, table, [&] {
        Progress(this, 0);
        c->PrepareForWrite(table);
        const OstTableLocation loc = c->Locate(table);
        OstInTransaction(*c, [&] {
            OstFulltextAfterChange(*c, loc, before, m, false);
            c->WriteMeta(m);
        });
        c->BumpGeneration();
        Progress(this, 100);
    });
    LoadFromMeta(m);
}

// The index's storage and triggers go, its words leave the dictionary; the
// dictionary table stays.
void TOstTable::DeleteFulltextIndex(const QString& name) {
    auto c = RequireConnection();
    if (c->ReadOnly()) throw EOstraError(OstErr::ReadOnly, QStringLiteral("The database is opened read-only"));
    const QString table = TableNameOf(this, *c);
    const OstTableMeta before = StoredMeta(*c, table);
    OstTableMeta m = before;
    m.fulltext.removeIf([&](const OstFulltextMeta& f) { return f.name.compare(name, Qt::CaseInsensitive) == 0; });
    if (m.fulltext.size() == before.fulltext.size())
        throw EOstraError(OstErr::NotFound, QStringLiteral("Fulltext index \"%1\" does not exist in table \"%2\"").arg(name, table));
    Exclusive(this, *c, table, [&] {
        c->PrepareForWrite(table);
        const OstTableLocation loc = c->Locate(table);
        OstInTransaction(*c, [&] {
            OstFulltextBeforeChange(*c, loc, before, m, false);
            c->WriteMeta(m);
        });
        c->BumpGeneration();
    });
    LoadFromMeta(m);
}

void TOstTable::SetFulltextIndexName(const QString& name) {
    if (name == m_fulltextIndexName) return;
    m_fulltextIndexName = name;
    if (Active() && GetFiltered() && !GetFilter().trimmed().isEmpty()) {
        ReloadCursor(RecordId());
        Resync(RecNo() - 1);
    }
}
