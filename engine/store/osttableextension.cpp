// The installed table extensions, called in the order they were installed.
#include "engine/store/osttableextension.h"

#include <mutex>

namespace {

struct Registry {
    std::mutex mutex;
    QList<OstTableExtension*> list;
};

Registry& Reg() {
    static Registry r;
    return r;
}

QList<OstTableExtension*> All() {
    std::lock_guard<std::mutex> lock(Reg().mutex);
    return Reg().list;
}

} // namespace

void OstInstallTableExtension(OstTableExtension* extension) {
    std::lock_guard<std::mutex> lock(Reg().mutex);
    if (extension && !Reg().list.contains(extension)) Reg().list.append(extension);
}

namespace OstExtensions {

void Register(sqlite3* db) {
    for (OstTableExtension* x : All()) x->Register(db);
}

QStringList CompanionTables(const OstTableMeta& meta) {
    QStringList out;
    for (OstTableExtension* x : All())
        for (const QString& t : x->CompanionTables(meta))
            if (!out.contains(t, Qt::CaseInsensitive)) out.append(t);
    return out;
}

void Prepare(OstConnection& c, const OstTableMeta& meta) {
    for (OstTableExtension* x : All()) x->Prepare(c, meta);
}

void BeforeChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before, const OstTableMeta& after,
                  bool rebuild) {
    for (OstTableExtension* x : All()) x->BeforeChange(c, loc, before, after, rebuild);
}

void AfterChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before, const OstTableMeta& after,
                 bool rebuild) {
    for (OstTableExtension* x : All()) x->AfterChange(c, loc, before, after, rebuild);
}

void CheckDeletable(OstConnection& c, const QString& table) {
    for (OstTableExtension* x : All()) x->CheckDeletable(c, table);
}

void RefreshTriggers(OstConnection& c, const QStringList& reachable) {
    for (OstTableExtension* x : All()) x->RefreshTriggers(c, reachable);
}

void Settle(OstConnection& c) {
    for (OstTableExtension* x : All()) x->Settle(c);
}

void Discard(OstConnection& c) {
    for (OstTableExtension* x : All()) x->Discard(c);
}

bool Pending(sqlite3* db) {
    for (OstTableExtension* x : All())
        if (x->Pending(db)) return true;
    return false;
}

} // namespace OstExtensions
