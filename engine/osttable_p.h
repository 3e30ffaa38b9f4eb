// Shared by the sources of TOstTable's operations: the stored name of the
// component's table, and running work with the table to itself.
#pragma once

#include "engine/ostdataset.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostschema.h"

#include <memory>

class OstTableOps {
public:
    // The component's table name, normalized, checked and spelled as stored.
    static QString Name(TOstTable* t, const std::shared_ptr<OstConnection>& c) {
        const QString n = c->TableNameOf(t->GetTableName());
        OstValidateTableName(n, c->SingleFile());
        return c->StoredTableName(n);
    }
    static void RequireWritable(const OstConnection& c) {
        if (c.ReadOnly()) throw EOstraError(OstErr::ReadOnly, QStringLiteral("The database is opened read-only"));
    }
    static void Progress(TOstTable* t, int percent) {
        if (!t->OnProgress) return;
        bool abort = false;
        t->OnProgress(t, percent, abort);
    }
    // Runs an operation that needs the table to itself: this component's own
    // cursor is closed around it and reopened on the record it stood on.
    template <class F> static void Exclusive(TOstTable* t, OstConnection& c, const QString& name, F&& work) {
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
};
