// TOstTable's fulltext operations: adding and dropping an index, and choosing
// the index that CONTAINS searches.
#include "engine/osttable_p.h"

#include "engine/fulltext/ostfulltext.h"
#include "engine/fulltext/ostfulltext_p.h"
#include "engine/store/osttableops.h"
#include "engine/store/ostvalidate.h"


// The minimum relevance and options come from a definition of the same name
// that the component holds, if any (the designer's copy); 0 otherwise.
void TOstTable::AddFulltextIndex2(const QString& name, const QString& fields, const QString& dictionary, const QString& separators) {
    auto c = RequireConnection();
    OstTableOps::RequireWritable(*c);
    const QString table = OstTableOps::Name(this, c);
    const OstTableMeta before = OstStoredMeta(*c, table);
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
    OstTableOps::Exclusive(this, *c, table, [&] {
        OstTableOps::Progress(this, 0);
        c->PrepareForWrite(table);
        const OstTableLocation loc = c->Locate(table);
        OstInTransaction(*c, [&] {
            OstFulltextAfterChange(*c, loc, before, m, false);
            c->WriteMeta(m);
        });
        c->BumpGeneration();
        OstTableOps::Progress(this, 100);
    });
    LoadFromMeta(m);
}

// The index's storage and triggers go, its words leave the dictionary; the
// dictionary table stays.
void TOstTable::DeleteFulltextIndex(const QString& name) {
    auto c = RequireConnection();
    OstTableOps::RequireWritable(*c);
    const QString table = OstTableOps::Name(this, c);
    const OstTableMeta before = OstStoredMeta(*c, table);
    OstTableMeta m = before;
    m.fulltext.removeIf([&](const OstFulltextMeta& f) { return f.name.compare(name, Qt::CaseInsensitive) == 0; });
    if (m.fulltext.size() == before.fulltext.size())
        throw EOstraError(OstErr::NotFound, QStringLiteral("Fulltext index \"%1\" does not exist in table \"%2\"").arg(name, table));
    OstTableOps::Exclusive(this, *c, table, [&] {
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
