#include "indexdef/core/ostindexdefcore.h"

#include "designer/core/ostindexstrings.h"
#include "designer/core/osttabledesignercore.h"
#include "designer/core/osttableprops.h"
#include "engine/ostdataset.h"
#include "indexdef/core/ostdictionaries.h"

namespace IndexDefText {
QString NewDictionary() { return QStringLiteral("(New Dictionary)"); }
QString NameMissing() { return QStringLiteral("Index name missing"); }
QString ColumnsMissing() { return QStringLiteral("Index columns missing"); }
QString ExpressionMissing() { return QStringLiteral("Calculation expression missing"); }
QString FulltextColumnsMissing() { return QStringLiteral("Fulltext columns missing"); }
QString DictionaryNotSelected() { return QStringLiteral("Dictionary not selected"); }
QString DictionaryExists() { return QStringLiteral("Dictionary \"%1\" already exists"); }
QString DictionaryNameMissing() { return QStringLiteral("Dictionary name missing"); }
QString DictionaryPasswordMissing() { return QStringLiteral("Dictionary password missing"); }
QString CapacityInvalid() { return QStringLiteral("Index capacity cannot be evaluated"); }
QString ErrorCaption() { return QStringLiteral("Index Definition Error"); }
QString EditableStringLengthTooLate() {
    return QStringLiteral("EditableStringLength must be set before displaying this dialog");
}
} // namespace IndexDefText

namespace {

// Columns of these types are not offered for the two kinds of index.
bool OfferedForHierarchical(int type) { return type != dtChar && type != dtMemo && type != dtGuid && type != dtLargeLink; }
bool OfferedForFulltext(int type) { return type != dtChar && type != dtGuid && type != dtLargeLink; }

// A name without its file extension (the text from the last "." on).
QString WithoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot < 0 ? name : name.left(dot);
}

bool Contains(const QStringList& list, const QString& name) { return list.contains(name, Qt::CaseInsensitive); }

} // namespace

// ---------------------------------------------------------------- TIndexDescriptions

TIndexDescription* TIndexDescriptions::Add(const QString& fieldName, int length, bool ascending) {
    TIndexDescription* d = Add();
    d->FieldName = fieldName;
    d->Length = length;
    d->Ascending = ascending;
    return d;
}

void TIndexDescriptions::SetIndexDescription(int i, const TIndexDescription& d) {
    TIndexDescription* item = Items(i);
    item->FieldName = d.FieldName;
    item->Length = d.Length;
    item->Ascending = d.Ascending;
}

// ---------------------------------------------------------------- preparing

TIndexDefinitionCore::TIndexDefinitionCore() {
    DictionaryItems = {QString(), IndexDefText::NewDictionary()};
    GetEncryptionMethods(EncryptionItems, m_level, false);
}

void TIndexDefinitionCore::SetTable(TOstTable* table) {
    m_table = table;
    m_level = table ? table->GetTableLevel() : OstDefaultTableLevel;
    m_tableName = table ? table->GetTableName() : QString();
    m_hierarchicalColumns.clear();
    FulltextColumns.clear();
    m_keys.Clear();
    if (table) {
        for (const TOstFieldDef* d : table->GetFieldDefsOst()) {
            if (OfferedForHierarchical(d->GetDataTypeOst())) m_hierarchicalColumns.append(d->GetName());
            if (OfferedForFulltext(d->GetDataTypeOst())) FulltextColumns.append({d->GetName(), false});
        }
    }
    ResetAvailable();
    CapacityText = table ? QString::number(table->GetCapacity()) : QString();
    Separators = m_level >= 6 ? OstDefaultFulltextSeparators : QString();
    m_loadedSeparators = Separators;

    // The dictionaries: every table of the database but this one.
    DictionaryItems.clear();
    bool singleFile = false;
    if (table) {
        if (TOstDatabase* db = table->GetDatabase()) {
            try {
                QStringList names;
                db->GetTableNames(names, false);
                for (const QString& n : names)
                    if (n.compare(m_tableName, Qt::CaseInsensitive) != 0) DictionaryItems.append(n);
                singleFile = db->IsSingleFile();
            } catch (const EOstraError&) {
                // a database that cannot be listed offers only a new dictionary
            }
        }
    }
    DictionaryItems.insert(0, QString());
    DictionaryItems.insert(1, IndexDefText::NewDictionary());
    DictionaryIndex = 0;

    // A single-file database has one key: its tables use the database's method.
    GetEncryptionMethods(EncryptionItems, m_level, false);
    if (singleFile) EncryptionItems = {GetEncryptionMethodName(emDefault)};
    DicEncryptionTypComboBoxChange(0);
}

void TIndexDefinitionCore::ResetAvailable() {
    m_available.clear();
    for (const QString& c : m_hierarchicalColumns) {
        bool used = false;
        for (const TIndexDescription* k : m_keys)
            if (k->FieldName.compare(c, Qt::CaseInsensitive) == 0) used = true;
        if (!used) m_available.append(c);
    }
}

QString TIndexDefinitionCore::FilterIndexName(const QString& text) const {
    if (m_allowFileExt) return text;
    QString name = text;
    return name.remove(u'.');
}

void TIndexDefinitionCore::ModifyIndexDef(const TIndexDef* def) {
    if (!def) throw Exception(QStringLiteral("No IndexDef given"));
    IndexName = def->Name;
    Unique = def->Options.testFlag(ixUnique);
    Kind = def->Options.testFlag(ixExpression) ? ikCalculated : ikHierarchical;
    Expression = def->Expression;
    m_keys.Clear();
    if (Kind == ikHierarchical) {
        QStringList fields, desc;
        SplitIntoStringList(fields, def->Fields, u';', true);
        SplitIntoStringList(desc, def->DescFields, u';', true);
        for (const QString& entry : fields) {
            if (entry.isEmpty()) continue;
            const qsizetype colon = entry.indexOf(u':');
            int length = 0;
            if (colon >= 0) {
                bool ok = false;
                length = entry.mid(colon + 1).trimmed().toInt(&ok);
                if (!ok || length < 0) length = 0;
            }
            m_keys.Add(GetFieldName(entry), length, !desc.contains(entry));
        }
    }
    ResetAvailable();
    if (!OstLevel::CapacityPerTable(m_level) && def->Capacity > 0) CapacityText = QString::number(def->Capacity);
    m_loaded = true;
    m_loadedName = def->Name;
    m_loadedKind = Kind;
    m_loadedUnique = Unique;
    m_loadedExpression = Expression;
    m_loadedFields = GetIndexFields(ifAll);
    m_loadedDescFields = GetIndexFields(ifDescending);
    m_loadedCapacity = CapacityText;
}

void TIndexDefinitionCore::ModifyIndexDef(const TOstFulltextIndexDef* def) {
    if (!def) throw Exception(QStringLiteral("No IndexDef given"));
    Kind = ikFulltext;
    IndexName = WithoutExtension(def->Name);
    QStringList fields;
    SplitIntoStringList(fields, def->Fields, u';', true);
    for (TFulltextColumn& c : FulltextColumns) c.Checked = Contains(fields, c.Name);
    // A column the list does not offer stays in the index.
    for (const QString& f : fields) {
        bool listed = false;
        for (const TFulltextColumn& c : FulltextColumns) listed = listed || c.Name.compare(f, Qt::CaseInsensitive) == 0;
        if (!listed && !f.isEmpty()) FulltextColumns.append({f, true});
    }
    MinRelevance = def->MinRelevance;
    DictionaryIndex = 0;
    const QString dictionary = def->Dictionary.trimmed();
    if (!dictionary.isEmpty()) {
        for (int i = 2; i < DictionaryItems.size() && DictionaryIndex == 0; ++i)
            if (DictionaryItems[i].compare(dictionary, Qt::CaseInsensitive) == 0) DictionaryIndex = i;
        if (DictionaryIndex == 0) {
            DictionaryItems.append(dictionary);
            DictionaryIndex = DictionaryItems.size() - 1;
        }
    }
    if (m_level >= 6) Separators = def->Separators.isEmpty() ? OstDefaultFulltextSeparators : def->Separators;
    m_loaded = true;
    m_loadedName = def->Name;
    m_loadedKind = ikFulltext;
    m_loadedFulltextFields = GetIndexFields(ifFulltext);
    m_loadedDictionary = dictionary;
    m_loadedMinRelevance = MinRelevance;
    m_loadedSeparators = Separators;
}

void TIndexDefinitionCore::SetPendingDictionary(const TDictionaryItem* item) {
    if (!item) return;
    DictionaryIndex = 1;
    NewDictionaryName = item->Name;
    MaxKeywordLength = item->MaxKeywordLen;
    const int at = EncryptionItems.indexOf(GetEncryptionMethodName(item->Encryption));
    DicEncryptionTypComboBoxChange(at < 0 ? 0 : at);
    DictionaryKey = item->Key;
}

bool TIndexDefinitionCore::KindEnabled(TIndexKind kind) const {
    if (kind == ikFulltext && !FulltextAvailable()) return false;
    // An index edited stays in its collection: a standard index does not
    // become a fulltext one, nor the other way round.
    if (!m_loaded) return true;
    return (kind == ikFulltext) == (m_loadedKind == ikFulltext);
}

// ---------------------------------------------------------------- the result

QString TIndexDefinitionCore::LoadedNameBase() const { return WithoutExtension(m_loadedName); }

void TIndexDefinitionCore::UpdateIndexDef(TIndexDef& def) const {
    def.Name = IndexName.trimmed();
    TIndexOptions options;
    if (Unique) options |= ixUnique;
    if (Kind == ikCalculated) {
        options |= ixExpression;
        def.Expression = Expression.trimmed();
        def.Fields.clear();
        def.DescFields.clear();
    } else {
        def.Fields = GetIndexFields(ifAll);
        def.DescFields = GetIndexFields(ifDescending);
        def.Expression.clear();
    }
    def.Capacity = OstLevel::CapacityPerTable(m_level) ? 0 : GetCapacity();
    def.Options = options;
}

void TIndexDefinitionCore::UpdateIndexDef(TOstFulltextIndexDef& def) const {
    // An edited name keeps the extension the index had.
    const QString name = IndexName.trimmed();
    def.Name = m_loaded && name == LoadedNameBase() ? m_loadedName : name;
    def.Fields = GetIndexFields(ifFulltext);
    def.Dictionary = DictionaryIndex >= 2 ? DictionaryItems.value(DictionaryIndex) : QString();
    def.MinRelevance = MinRelevance;
    def.Separators = GetFulltextSeparators();
}

bool TIndexDefinitionCore::CheckIndexDefinitionModified() const {
    if (WithoutExtension(IndexName.trimmed()) != WithoutExtension(m_loadedName)) return true;
    if (Kind != ikFulltext) {
        if (Kind != m_loadedKind) return true;
        if (GetIndexFields(ifAll) != m_loadedFields || GetIndexFields(ifDescending) != m_loadedDescFields) return true;
        // What the dialog shows besides the columns counts as well: an edited
        // expression, the unique box, the capacity of a level 3 index.
        if (Kind == ikCalculated && Expression.trimmed() != m_loadedExpression.trimmed()) return true;
        if (Unique != m_loadedUnique) return true;
        return !OstLevel::CapacityPerTable(m_level) && CapacityText.trimmed() != m_loadedCapacity.trimmed();
    }
    const QString dictionary = DictionaryIndex >= 2 ? DictionaryItems.value(DictionaryIndex) : QString();
    // A new dictionary chosen again is a change: its settings are taken anew.
    return GetIndexFields(ifFulltext) != m_loadedFulltextFields || dictionary != m_loadedDictionary ||
           NewDictionaryChosen() || MinRelevance != m_loadedMinRelevance || Separators != m_loadedSeparators;
}

QString TIndexDefinitionCore::GetIndexFields(int kind) const {
    QStringList parts;
    if (kind == ifFulltext) {
        for (const TFulltextColumn& c : FulltextColumns)
            if (c.Checked) parts.append(c.Name.trimmed());
        return parts.join(u';');
    }
    for (const TIndexDescription* k : m_keys) {
        if (kind == ifDescending && k->Ascending) continue;
        parts.append(k->Length != 0 ? QStringLiteral("%1:%2").arg(k->FieldName).arg(k->Length) : k->FieldName);
    }
    return parts.join(u';');
}

int TIndexDefinitionCore::GetCapacity() const {
    bool ok = false;
    const int value = CapacityText.trimmed().toInt(&ok);
    return ok ? value : 0;
}

QString TIndexDefinitionCore::GetFulltextSeparators() const {
    if (m_level >= 6 && Separators != OstDefaultFulltextSeparators) return Separators;
    return QString();
}

bool TIndexDefinitionCore::GetIndexHasWidestring(int kind) const {
    if (kind != ifFulltext) return false;
    for (const TFulltextColumn& c : FulltextColumns) {
        const int type = GetFieldDataType(c.Name);
        if (c.Checked && (type == dtWideString || type == dtWideMemo)) return true;
    }
    return false;
}

QString TIndexDefinitionCore::GetDictionaryCollation() const {
    const QString marker = QStringLiteral("***");
    QString result = marker;
    bool consistent = true;
    for (const TFulltextColumn& c : FulltextColumns) {
        if (!c.Checked) continue;
        QString value;
        if (const TOstFieldDef* d = FindColumn(c.Name))
            if (IsCollatedType(d->GetDataTypeOst())) value = d->GetSpec().trimmed();
        if (value == DefaultCollationEntry()) value.clear(); // inherits, as an empty one does
        if (result == marker) result = value;
        else if (!value.isEmpty() && value != result && value != EngineCollation()) consistent = false;
    }
    if (result == marker || result.isEmpty()) {
        result = m_table ? m_table->GetCollationName().trimmed() : QString();
        if (result.isEmpty()) result = EngineCollation();
    }
    return consistent ? result : EngineCollation();
}

QString TIndexDefinitionCore::DictionaryTableName() const {
    if (DictionaryIndex == 1) return NewDictionaryName.trimmed();
    return DictionaryIndex >= 2 ? DictionaryItems.value(DictionaryIndex) : QString();
}

// ---------------------------------------------------------------- columns

const TOstFieldDef* TIndexDefinitionCore::FindColumn(const QString& entry) const {
    return m_table ? m_table->GetFieldDefsOst().Find(GetFieldName(entry)) : nullptr;
}

QString TIndexDefinitionCore::GetFieldName(const QString& entry) {
    const qsizetype colon = entry.indexOf(u':');
    return (colon < 0 ? entry : entry.left(colon)).trimmed();
}

int TIndexDefinitionCore::GetFieldLen(const QString& entry) const {
    const TOstFieldDef* d = FindColumn(entry);
    return d && (d->GetDataTypeOst() == dtString || d->GetDataTypeOst() == dtWideString) ? d->GetSize() : 0;
}

int TIndexDefinitionCore::GetFieldDataType(const QString& entry) const {
    const TOstFieldDef* d = FindColumn(entry);
    return d ? d->GetDataTypeOst() : -1;
}

bool TIndexDefinitionCore::IsStringField(const QString& entry) const {
    const int type = GetFieldDataType(entry);
    return type == dtString || type == dtWideString;
}

// ---------------------------------------------------------------- the hierarchical page

QString TIndexDefinitionCore::KeyText(int position) const {
    const TIndexDescription* k = m_keys.GetIndexDescription(position);
    const QString direction = k->Ascending ? QStringLiteral("ascending") : QStringLiteral("descending");
    if (k->Length == 0 || k->Length == GetFieldLen(k->FieldName))
        return QStringLiteral("%1. %2, ").arg(position + 1).arg(k->FieldName) + direction;
    return QStringLiteral("%1. %2:%3, ").arg(position + 1).arg(k->FieldName).arg(k->Length) + direction;
}

QStringList TIndexDefinitionCore::KeyTexts() const {
    QStringList rows;
    for (int i = 0; i < m_keys.Count(); ++i) rows.append(KeyText(i));
    return rows;
}

int TIndexDefinitionCore::InsertColumn(const QString& column) {
    const qsizetype at = m_available.indexOf(column);
    if (at < 0) return -1;
    m_keys.Add(column, 0, true);
    m_available.removeAt(at);
    return m_keys.Count() - 1;
}

int TIndexDefinitionCore::DeleteKey(int position) {
    if (position < 0 || position >= m_keys.Count()) return -1;
    m_keys.Delete(position);
    ResetAvailable();
    return m_keys.Count() == 0 ? -1 : std::min(position, m_keys.Count() - 1);
}

void TIndexDefinitionCore::DeleteAllKeys() {
    m_keys.Clear();
    ResetAvailable();
}

int TIndexDefinitionCore::MoveKey(int position, int delta) {
    const int to = position + delta;
    if (position < 0 || position >= m_keys.Count() || to < 0 || to >= m_keys.Count()) return position;
    m_keys.Move(position, to);
    return to;
}

void TIndexDefinitionCore::SetAscending(int position, bool ascending) {
    if (position >= 0 && position < m_keys.Count()) m_keys[position]->Ascending = ascending;
}

void TIndexDefinitionCore::SetLength(int position, int length) {
    if (position < 0 || position >= m_keys.Count()) return;
    TIndexDescription* k = m_keys[position];
    const int full = GetFieldLen(k->FieldName);
    // Only string columns have a key length; the whole column is no length.
    k->Length = full == 0 || length <= 0 || length >= full ? 0 : length;
}

// ---------------------------------------------------------------- the calculated page

int TIndexDefinitionCore::ExpressionMaxLength() const { return OstLevel::MaxIndexExpression(m_level); }

QString TIndexDefinitionCore::ExpressionHint() const {
    if (m_level >= 5)
        return QStringLiteral("Enter a OstraSQL expression with up to %1 characters. Examples:\n\rABS(Debit)\n\rGivenName || ',' "
                              "|| SurName\n\rEXTRACT(WEEKDAYNO FROM Birthday)\n\r\n\rAlternatively enter a native Ostra "
                              "expression preceeded by @. Examples:\n\rAbs(Debit)\n\rGivenName + ' ' + SurName")
            .arg(ExpressionMaxLength());
    return QStringLiteral("Enter a native Ostra expression with up to %1 characters. Examples:\n\r\n\rAbs(Debit)\n\rGivenName "
                          "+ ' ' + SurName")
        .arg(ExpressionMaxLength());
}

// ---------------------------------------------------------------- the fulltext page

void TIndexDefinitionCore::SetChecked(const QString& column, bool checked) {
    for (TFulltextColumn& c : FulltextColumns)
        if (c.Name == column) c.Checked = checked;
}

void TIndexDefinitionCore::DicEncryptionTypComboBoxChange(int index) {
    EncryptionIndex = std::clamp(index, 0, std::max<int>(0, EncryptionItems.size() - 1));
    m_dictionaryEncryption = GetEncryptionMethodFromMethodName(EncryptionItems.value(EncryptionIndex));
}

bool TIndexDefinitionCore::EncryptionKeyEnabled() const {
    const qsizetype protection = EncryptionItems.indexOf(GetEncryptionMethodName(emProtection));
    return protection >= 0 && EncryptionIndex >= protection;
}

QStringList TIndexDefinitionCore::CapacityChoices() {
    return {QStringLiteral("1000000"), QStringLiteral("10000000"), QStringLiteral("100000000"),
            QStringLiteral("1000000000"), QStringLiteral("2000000000")};
}

// ---------------------------------------------------------------- checks

QStringList TIndexDefinitionCore::Validate() const {
    QStringList messages;
    if (IndexName.trimmed().isEmpty()) messages.append(IndexDefText::NameMissing());
    if (Kind == ikHierarchical && m_keys.Count() == 0) messages.append(IndexDefText::ColumnsMissing());
    if (Kind == ikCalculated && Expression.trimmed().isEmpty()) messages.append(IndexDefText::ExpressionMissing());
    if (Kind == ikFulltext) {
        if (GetIndexFields(ifFulltext).isEmpty()) messages.append(IndexDefText::FulltextColumnsMissing());
        if (DictionaryIndex <= 0) {
            messages.append(IndexDefText::DictionaryNotSelected());
        } else if (DictionaryIndex == 1) {
            const QString name = NewDictionaryName.trimmed();
            // The tables of the database (and this one, which is not listed).
            if (!name.isEmpty() &&
                (Contains(DictionaryItems.mid(2), name) || name.compare(m_tableName, Qt::CaseInsensitive) == 0))
                messages.append(IndexDefText::DictionaryExists().arg(name));
            if (name.isEmpty()) messages.append(IndexDefText::DictionaryNameMissing());
            if (EncryptionKeyEnabled() && DictionaryKey.trimmed().isEmpty())
                messages.append(IndexDefText::DictionaryPasswordMissing());
        }
    }
    bool ok = false;
    const qint64 capacity = CapacityText.trimmed().toLongLong(&ok);
    if (!ok) messages.append(IndexDefText::CapacityInvalid());
    else if (!OstLevel::CapacityPerTable(m_level) && (capacity < OstMinCapacity || capacity > 2147483647))
        messages.append(DesignerText::CapacityRange().arg(OstMinCapacity).arg(2147483647));
    return messages;
}
