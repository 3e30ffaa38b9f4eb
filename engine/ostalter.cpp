// TOstTable::AlterTable: restructures the stored table to the definitions the
// component holds (engine/store/ostrestructure), re-encrypting its file first
// when the method or password changes (engine/crypt); CanAlterInPlace tells
// beforehand whether that copies the table's rows.
#include "engine/ostdataset.h"

#include "engine/crypt/ostcryptaccess.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostfileswap.h"
#include "engine/store/ostinplace.h"
#include "engine/store/ostrestructure.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalidate.h"
#include "engine/store/osttableextension.h"

#include <memory>
#include <vector>

namespace {

class Progress {
public:
    Progress(TOstTable* t, const QString& name) : m_table(t), m_name(name) {}
    void operator()(int percent) {
        if (!m_table->OnProgress) return;
        percent = qBound(0, percent, 100);
        if (percent == m_last && percent != 0 && percent != 100) return;
        m_last = percent;
        bool abort = false;
        m_table->OnProgress(m_table, percent, abort);
        if (abort) throw EOstraError(OstErr::Aborted, QStringLiteral("Restructure of table \"%1\" was aborted").arg(m_name));
    }

private:
    TOstTable* m_table;
    QString m_name;
    int m_last = -1;
};

} // namespace

namespace {

// The stored definitions of the component's table and those it is to get.
struct AlterPlan {
    QString name;
    OstTableMeta stored, planned;
};

AlterPlan PlanAlter(OstConnection& c, const QString& tableName, const OstTableMeta& wanted) {
    AlterPlan p;
    p.name = c.TableNameOf(tableName);
    OstValidateTableName(p.name, c.SingleFile());
    if (!c.TableExists(p.name) || !c.ReadMeta(p.name, p.stored))
        throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(p.name));
    p.stored.name = p.name;
    p.planned = OstRestructurePlan(p.stored, wanted);
    OstValidateMeta(p.planned, &c);
    return p;
}

} // namespace

bool TOstTable::CanAlterInPlace(QString* reason) {
    auto c = RequireConnection();
    const AlterPlan p = PlanAlter(*c, m_tableName, ToMeta());
    QString why;
    if (OstCryptRekeyNeeded(*CryptRequester(), *c, p.name, p.planned.encryption))
        why = QStringLiteral("its encryption changes, so its file is written anew");
    else
        why = OstPlanInPlace(p.stored, p.planned, *c).rebuildReason;
    if (reason) *reason = why;
    return why.isEmpty();
}

void TOstTable::AlterTable() {
    auto c = RequireConnection();
    if (c->ReadOnly()) throw EOstraError(OstErr::ReadOnly, QStringLiteral("The database is opened read-only"));
    const AlterPlan plan = PlanAlter(*c, m_tableName, ToMeta());
    const QString& name = plan.name;
    const OstTableMeta& oldMeta = plan.stored;
    const OstTableMeta& nm = plan.planned;
    OstExtensions::Prepare(*c, nm);

    const bool wasActive = Active();
    const qint64 id = wasActive ? RecordId() : 0;
    if (wasActive) Close();
    try {
        OstTableLock lock(c->TableFile(name), name, true);
        // A new method or password writes the file anew first; a failure puts the old one back.
        // Dictionaries of the table's own follow its encryption: they hold its words.
        const QStringList follow = OstOwnCompanionTables(*c, nm);
        OstCryptRekey rekey(*CryptRequester(), *c, name, nm.encryption, follow);
        std::vector<std::unique_ptr<OstCryptRekey>> dictionaries;
        QStringList rekeyed;
        for (const QString& d : rekey.Swapping() ? follow : QStringList()) {
            dictionaries.push_back(std::make_unique<OstCryptRekey>(*CryptRequester(), *c, d, nm.encryption, QStringList(), name));
            if (dictionaries.back()->Swapping()) rekeyed.append(d);
        }
        Progress progress(this, name);
        OstRestructure(*c, oldMeta, nm, rekeyed, [&progress](int percent) { progress(percent); });
        rekey.Commit();
        for (auto& r : dictionaries) r->Commit();
    } catch (const EOstraError& e) {
        if (wasActive) { try { Open(); FindRecordId(id); } catch (...) {} }
        throw OstNameIoError(e, QStringLiteral("table \"%1\"").arg(name), c->TableFile(name));
    } catch (...) {
        if (wasActive) { try { Open(); FindRecordId(id); } catch (...) {} }
        throw;
    }
    LoadFromMeta(nm);
    if (wasActive) { Open(); FindRecordId(id); }
}
