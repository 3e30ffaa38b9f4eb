// TDBConvertTable: the new table's structure from the source's, then the copy.
#include "migration/core/ostdatasetconverter.h"

#include <QSet>

namespace {

// A field list ("A;B") with every name made a valid engine name.
QString ConvertFieldList(const QString& fields) {
    QStringList out;
    for (const QString& part : fields.split(u';')) {
        const QString name = part.trimmed();
        if (!name.isEmpty()) out << ConvertToValidOstName(name);
    }
    return out.join(u';');
}

} // namespace

TDBConvertTable::TDBConvertTable(TComponent* owner) : TComponent(owner), m_batchMove(new TOstBatchMove(this)) {}

TDBConvertTable::~TDBConvertTable() = default;

void TDBConvertTable::CreateTable() {
    TDataSet* source = m_source.data();
    if (!source) throw EConvertTableError(QStringLiteral("Source not specified"));
    if (!source->Active()) throw EConvertTableError(QStringLiteral("Source must be opened"));
    if (m_tableName.trimmed().isEmpty()) throw EConvertTableError(QStringLiteral("Invalid table name"));

    delete m_target;
    m_target = new TOstTable(this);
    if (m_database) m_target->SetDatabaseName(m_database->GetDatabaseName());
    m_target->SetTableName(m_tableName);
    if (m_tableLevel != -1) m_target->SetTableLevel(m_tableLevel);

    TOstFieldDefs& target = m_target->GetFieldDefsOst();
    auto* engineSource = qobject_cast<TOstDataSet*>(source);
    QStringList mappings;
    QSet<QString> taken; // compared without case, as the engine compares column names
    for (const TFieldDef* def : source->FieldDefs()) {
        TOstFieldDef* added = target.Add(QString(), 0, 0);
        const TOstFieldDef* native = engineSource ? engineSource->GetFieldDefsOst().Find(def->Name) : nullptr;
        QString name;
        if (native) {
            added->Assign(*native);
            added->SetFieldNo(0); // a column of a new table
            name = def->Name;
        } else {
            added->Assign(*def);
            name = ConvertToValidOstName(def->Name);
            // Two source names may make the same engine name ("a b", "a_b"): the later gets a number.
            const QString base = name;
            for (int n = 2; taken.contains(name.toLower()); ++n) name = QStringLiteral("%1_%2").arg(base).arg(n);
        }
        taken.insert(name.toLower());
        added->SetName(name);
        mappings << QStringLiteral("%1=%2").arg(name, def->Name);
    }
    m_batchMove->SetMappings(mappings);

    if (m_indexDefs) {
        for (const TIndexDef* src : *m_indexDefs) {
            TIndexDef* ix = m_target->IndexDefs().Add();
            ix->Fields = ConvertFieldList(src->Fields);
            ix->DescFields = ConvertFieldList(src->DescFields);
            ix->Name = src->Name.isEmpty() && (src->Options & ixPrimary) ? QStringLiteral("sys_primary") : src->Name;
            ix->Options = src->Options;
            if (ix->Fields.isEmpty()) m_target->IndexDefs().Delete(ix->Index());
        }
    }
    m_target->CreateTable();
}

void TDBConvertTable::Execute() {
    // In a single-file database the new table and its records are one
    // transaction: a process killed in the middle leaves no table behind.
    // (A directory database's table is a file of its own, attached once made.)
    const bool atomic = m_copyData && m_database && m_database->IsSingleFile() && !m_database->InTransaction();
    if (atomic) m_database->StartTransaction();
    bool created = false;
    try {
        CreateTable();
        created = true;
        if (m_copyData) {
            m_batchMove->SetSource(m_source.data());
            m_batchMove->SetDestination(m_target);
            m_batchMove->SetMode(TOstBatchMove::batAppend);
            m_batchMove->SetRecordCount(0);
            m_batchMove->OnProgress = OnProgress;
            m_batchMove->Execute();
        }
        if (atomic) m_database->Commit();
    } catch (...) {
        // Nothing of a failed or cancelled conversion stays behind.
        try {
            if (m_target && m_target->Active()) m_target->Close();
            if (atomic) m_database->Rollback();
            // Only the table this conversion made (never one of the name that was there).
            if (created && m_target && m_target->Exists()) m_target->DeleteTable();
        } catch (...) {
        }
        throw;
    }
}
