#include "designer/core/ostmodifications.h"

#include "engine/ostdataset.h"

#include <QHash>
#include <QLocale>

namespace {

bool SameText(const QString& a, const QString& b) { return a.compare(b, Qt::CaseInsensitive) == 0; }

QString CollationOrDefault(const QString& c) { return c.trimmed().isEmpty() ? QStringLiteral("Ostra") : c; }

// Column texts by detail.
QString ColumnText(int detail) {
    switch (detail) {
    case mdColumnExtended: return QStringLiteral("%1 extended.");
    case mdColumnTruncated: return QStringLiteral("%1 truncated.");
    case mdColumnType: return QStringLiteral("%1 column type changed .");
    case mdColumnNullable: return QStringLiteral("%1 nullable property altered.");
    case mdColumnConnection: return QStringLiteral("%1 connection altered.");
    case mdColumnSelection: return QStringLiteral("%1 selection altered.");
    case mdColumnRenamed: return QStringLiteral("%1 renamed.");
    case mdColumnIndication: return QStringLiteral("%1 indication of the Record ID altered.");
    case mdColumnCalculation: return QStringLiteral("%1 calculation expression altered.");
    case mdColumnPosition: return QStringLiteral("%1 position changed.");
    case mdColumnDeleted: return QStringLiteral("%1 deleted.");
    case mdColumnAdded: return QStringLiteral("%1 added.");
    case mdColumnSpecification: return QStringLiteral("%1 specification altered");
    case mdColumnEnforcedIndex: return QStringLiteral("%1 enforced index altered");
    case mdColumnPrecision: return QStringLiteral("%1 precision altered");
    case mdColumnCollation: return QStringLiteral("%1 collation altered");
    default: return QString();
    }
}

} // namespace

QString FormatThousands(qint64 value) {
    QLocale locale;
    locale.setNumberOptions(QLocale::DefaultNumberOptions);
    return locale.toString(value);
}

QString NoChangesText() { return QStringLiteral("No changes to table structure"); }

QString FieldExpression(const TIndexDef& def) {
    return def.Options.testFlag(ixExpression) ? def.Expression : def.Fields;
}

// ---------------------------------------------------------------- TModification

QString TModification::GetColumn() const { return Position >= 1 ? QString::number(Position) : QString(); }

QString TModification::GetText() const {
    switch (Detail) {
    case mdTableRenamed: return QStringLiteral("Table renamend to %1").arg(Name);
    case mdTableLevel: return QStringLiteral("File version of table changed.");
    case mdTableEncryption: return QStringLiteral("Protection/encryption of table changed.");
    case mdTableCollation: return QStringLiteral("Collation altered from \"%1\" to \"%2\"").arg(OldName, Name);
    case mdTableResetCollations:
        return QStringLiteral("Table collation and individual field collations must be set to default");
    case mdTableCapacity: return QStringLiteral("Capacity altered from %1 to %2").arg(OldName, Name);
    case mdPrimaryKey: return QStringLiteral("Primary key modified");
    case mdIndexAdded: return QStringLiteral("Index %1 added").arg(Name);
    case mdIndexDeleted: return QStringLiteral("Index %1 deleted").arg(Name);
    case mdIndexRenamed: return QStringLiteral("Index %1 renamed to %2").arg(OldName, Name);
    case mdIndexFields: return QStringLiteral("Index %1: fields changed").arg(Name);
    case mdIndexDescFields: return QStringLiteral("Index %1: Descending fields").arg(Name);
    case mdIndexExpression: return QStringLiteral("Index %1: Expression changed").arg(Name);
    case mdIndexFieldExpression: return QStringLiteral("Index %1: Field expression changed").arg(Name);
    case mdIndexOptions: return QStringLiteral("Index %1: Options changed").arg(Name);
    case mdFulltextAdded: return QStringLiteral("Fulltext index %1 added").arg(Name);
    case mdFulltextDeleted: return QStringLiteral("Fulltext index %1 deleted").arg(Name);
    case mdFulltextRenamed: return QStringLiteral("Fulltext index %1 renamed to %2").arg(OldName, Name);
    case mdFulltextFields: return QStringLiteral("Fulltext index %1: fields changed").arg(Name);
    case mdFulltextDictionary: return QStringLiteral("Fulltext index %1: Dictionary changed").arg(Name);
    case mdFulltextMinRelevance: return QStringLiteral("Fulltext index %1: Min relevance changed").arg(Name);
    case mdFulltextOptions: return QStringLiteral("Fulltext index %1: Options changed").arg(Name);
    case mdFulltextSeparators: return QStringLiteral("Fulltext index %1: Separators changed").arg(Name);
    case mdForeignKeyAdded: return QStringLiteral("Foreign key %1 added").arg(Name);
    case mdForeignKeyDeleted: return QStringLiteral("Foreign key %1 deleted").arg(Name);
    case mdForeignKeyRenamed: return QStringLiteral("Foreign key %1 renamed to %2").arg(OldName, Name);
    case mdForeignKeyParentTable: return QStringLiteral("Foreign key %1: Parent table changed").arg(Name);
    case mdForeignKeyParentFields: return QStringLiteral("Foreign key %1: Parent fields changed").arg(Name);
    case mdForeignKeyChildFields: return QStringLiteral("Foreign key %1: Child fields changed").arg(Name);
    case mdForeignKeyInsertAction: return QStringLiteral("Foreign key %1: Insert action changed").arg(Name);
    case mdForeignKeyUpdateAction: return QStringLiteral("Foreign key %1: Update action changed").arg(Name);
    case mdForeignKeyDeleteAction: return QStringLiteral("Foreign key %1: Delete action changed").arg(Name);
    case mdCheckCondition: return QStringLiteral("Check %1: Condition changed").arg(Name);
    case mdCheckMessage: return QStringLiteral("Check %1: Message changed").arg(Name);
    case mdCheckDeleted: return QStringLiteral("Check %1: Condition deleted").arg(Name);
    case mdCheckAdded: return QStringLiteral("Check %1: Condition added").arg(Name);
    case mdCheckRenamed: return QStringLiteral("Check %1 renamed to %2").arg(OldName, Name);
    default: {
        const QString text = ColumnText(Detail);
        return text.isEmpty() ? QString() : text.arg(Name);
    }
    }
}

// ---------------------------------------------------------------- TModifications

TModification& TModifications::Add(TModificationType kind, const QString& name, const QString& oldName, int position,
                                   int detail) {
    m_items.append(TModification{kind, name, oldName, position, detail});
    return m_items.last();
}

bool TModifications::DefExists(TModificationType kind, int detail) const {
    for (const TModification& m : m_items)
        if (m.Kind == kind && m.Detail == detail) return true;
    return false;
}

int TModifications::DefTypeCount(TModificationType kind) const {
    int n = 0;
    for (const TModification& m : m_items)
        if (m.Kind == kind) ++n;
    return n;
}

QStringList TModifications::Lines() const {
    QStringList lines;
    for (const TModification& m : m_items) lines.append(m.GetColumn() + u'\t' + m.GetText());
    if (lines.isEmpty()) lines.append(u'\t' + NoChangesText());
    return lines;
}

// ---------------------------------------------------------------- comparisons

int CompareFieldDefs(const TOstFieldDef& d, const TOstFieldDef& w) { return CompareFieldDefs(d, w, d.Index(), w.Index()); }

int CompareFieldDefs(const TOstFieldDef& d, const TOstFieldDef& w, int designedPosition, int workingPosition) {
    if (d.GetName() != w.GetName()) return mdColumnRenamed;
    if (d.GetDataTypeOst() != w.GetDataTypeOst()) return mdColumnType;
    if (w.GetSize() < d.GetSize()) return mdColumnTruncated;
    if (w.GetSize() > d.GetSize()) return mdColumnExtended;
    const int type = w.GetDataTypeOst();
    if (type == dtString || type == dtMemo || type == dtWideString || type == dtWideMemo) {
        const QString a = d.GetSpec().trimmed(), b = w.GetSpec().trimmed();
        const bool defaultPair = (a.isEmpty() && SameText(b, QStringLiteral("Ostra"))) ||
                                 (b.isEmpty() && SameText(a, QStringLiteral("Ostra")));
        if (!defaultPair && !SameText(a, b)) return mdColumnCollation;
    } else if (type == dtEnum) {
        if (!SameText(d.GetSpec(), w.GetSpec())) return mdColumnSelection;
    } else if (type == dtAutoInc) {
        if (!SameText(d.GetSpec().trimmed(), w.GetSpec().trimmed())) return mdColumnIndication;
    } else if (type == dtLink || type == dtLargeLink) {
        if (!SameText(d.GetSpec(), w.GetSpec())) return mdColumnConnection;
    } else if (!SameText(d.GetSpec(), w.GetSpec())) {
        return mdColumnSpecification;
    }
    if (d.GetRequired() != w.GetRequired()) return mdColumnNullable;
    if (d.GetNullable() != w.GetNullable()) return mdColumnNullable;
    if (d.GetIsSpecial() != w.GetIsSpecial()) return mdColumnEnforcedIndex;
    if (d.GetPrecision() != w.GetPrecision()) return mdColumnPrecision;
    if (d.GetInternalCalcField() != w.GetInternalCalcField()) return mdColumnCalculation;
    if (!SameText(d.GetCalcExpression(), w.GetCalcExpression())) return mdColumnCalculation;
    if (designedPosition != workingPosition) return mdColumnPosition;
    return mdNone;
}

int CompareIndexDefs(const TIndexDef& d, const TIndexDef& w) {
    if (d.Name != w.Name) return mdIndexRenamed;
    if (d.Fields != w.Fields) return mdIndexFields;
    if (d.DescFields != w.DescFields) return mdIndexDescFields;
    if (d.Expression != w.Expression) return mdIndexExpression;
    if (FieldExpression(d) != FieldExpression(w)) return mdIndexFieldExpression;
    // The capacity an index holds below level 4 is one of its options.
    if (d.Options != w.Options || d.Capacity != w.Capacity) return mdIndexOptions;
    return mdNone;
}

int CompareIndexDefs(const TOstFulltextIndexDef& d, const TOstFulltextIndexDef& w) {
    if (d.Name != w.Name) return mdFulltextRenamed;
    if (d.Fields != w.Fields) return mdFulltextFields;
    if (d.Dictionary != w.Dictionary) return mdFulltextDictionary;
    if (d.MinRelevance != w.MinRelevance) return mdFulltextMinRelevance;
    if (d.Options != w.Options) return mdFulltextOptions;
    if (d.Separators != w.Separators) return mdFulltextSeparators;
    return mdNone;
}

int CompareForeignKeyDefs(const TOstForeignKeyDef& d, const TOstForeignKeyDef& w) {
    if (d.Name != w.Name) return mdForeignKeyRenamed;
    // A change of letter case counts: the parent is stored under the name as written.
    if (d.ParentTable != w.ParentTable) return mdForeignKeyParentTable;
    if (d.ParentFields != w.ParentFields) return mdForeignKeyParentFields;
    if (d.ChildFields != w.ChildFields) return mdForeignKeyChildFields;
    if (d.UpdateAction != w.UpdateAction) return mdForeignKeyUpdateAction;
    if (d.DeleteAction != w.DeleteAction) return mdForeignKeyDeleteAction;
    return mdNone;
}

int CompareChecks(const TCheckConstraint& d, const TCheckConstraint& w) {
    if (d.Name != w.Name) return mdCheckRenamed;
    if (d.ImportedConstraint != w.ImportedConstraint || d.CustomConstraint != w.CustomConstraint) return mdCheckCondition;
    if (d.ErrorMessage != w.ErrorMessage) return mdCheckMessage;
    return mdNone;
}

// ---------------------------------------------------------------- the list

namespace {

void TableEntries(const TModificationInput& in, TModifications& list, bool& reset) {
    const TOstTable& d = *in.Designed;
    const TOstTable& w = *in.Working;
    if (!in.NewTable && w.GetTableName() != d.GetTableName())
        list.Add(mtTable, w.GetTableName(), d.GetTableName(), 0, mdTableRenamed);
    if (w.GetTableLevel() != d.GetTableLevel()) {
        list.Add(mtTable, QString::number(w.GetTableLevel()), QString::number(d.GetTableLevel()), 0, mdTableLevel);
        if (d.GetTableLevel() > 5 && w.GetTableLevel() < 6) {
            reset = true;
            list.Add(mtTable, QString(), QString(), 0, mdTableResetCollations);
        }
    }
    if (w.GetEncryptionMethod() != d.GetEncryptionMethod() || !SameText(in.EncryptionKey, d.GetEncryptionPassword()))
        list.Add(mtTable, QString(), QString(), 0, mdTableEncryption);
    if (w.GetCapacity() != d.GetCapacity())
        list.Add(mtTable, FormatThousands(w.GetCapacity()), FormatThousands(d.GetCapacity()), 0, mdTableCapacity);
    const QString before = CollationOrDefault(d.GetCollationName()), after = CollationOrDefault(w.GetCollationName());
    if (!SameText(before, after) && !reset) list.Add(mtTable, after, before, 0, mdTableCollation);
}

void ColumnEntries(const TOstTable& d, const TOstTable& w, TModifications& list) {
    const TOstFieldDefs& dc = const_cast<TOstTable&>(d).GetFieldDefsOst();
    const TOstFieldDefs& wc = const_cast<TOstTable&>(w).GetFieldDefsOst();
    QHash<int, int> byNumber; // column number -> working position
    byNumber.reserve(wc.Count());
    for (int j = 0; j < wc.Count(); ++j)
        if (wc[j]->GetFieldNo() != 0) byNumber.insert(wc[j]->GetFieldNo(), j);
    for (int i = 0; i < dc.Count(); ++i) {
        const TOstFieldDef* f = dc[i];
        const int j = f->GetFieldNo() != 0 ? byNumber.value(f->GetFieldNo(), -1) : -1;
        if (j < 0) {
            list.Add(mtColumn, f->GetName(), f->GetName(), wc.Count(), mdColumnDeleted);
            continue;
        }
        if (const int detail = CompareFieldDefs(*f, *wc[j], i, j))
            list.Add(mtColumn, wc[j]->GetName(), f->GetName(), j + 1, detail);
    }
    for (int j = 0; j < wc.Count(); ++j)
        if (wc[j]->GetFieldNo() == 0) list.Add(mtColumn, wc[j]->GetName(), QString(), j + 1, mdColumnAdded);
}

// Named definitions: deleted, changed, added. A definition is paired with the
// one of exactly its name, else with one whose name differs only in case (a
// change of letter case is a rename); names differing only in case are two
// definitions when both are there.
template <class Defs, class Def, class Compare, class NameOf>
void NamedEntries(const Defs& d, const Defs& w, TModificationType kind, int added, int deleted, Compare compare,
                  NameOf nameOf, bool (*skip)(const Def&), TModifications& list) {
    QVector<int> pair(d.Count(), -1);
    QVector<bool> used(w.Count(), false);
    for (int exact = 1; exact >= 0; --exact)
        for (int i = 0; i < d.Count(); ++i) {
            if (pair[i] >= 0 || skip(*d[i])) continue;
            for (int j = 0; j < w.Count(); ++j) {
                if (used[j] || skip(*w[j])) continue;
                if (exact ? nameOf(*d[i]) == nameOf(*w[j]) : SameText(nameOf(*d[i]), nameOf(*w[j]))) {
                    pair[i] = j;
                    used[j] = true;
                    break;
                }
            }
        }
    for (int i = 0; i < d.Count(); ++i)
        if (!skip(*d[i]) && pair[i] < 0) list.Add(kind, nameOf(*d[i]), nameOf(*d[i]), 0, deleted);
    for (int i = 0; i < d.Count(); ++i) {
        if (pair[i] < 0) continue;
        const Def* now = w[pair[i]];
        if (const int detail = compare(*d[i], *now)) list.Add(kind, nameOf(*now), nameOf(*d[i]), 0, detail);
    }
    for (int j = 0; j < w.Count(); ++j)
        if (!skip(*w[j]) && !used[j]) list.Add(kind, nameOf(*w[j]), QString(), 0, added);
}

bool IsPrimary(const TIndexDef& ix) { return ix.Options.testFlag(ixPrimary); }
template <class T> bool Never(const T&) { return false; }

QString CheckName(const TCheckConstraint& c, int i) { return c.Name.isEmpty() ? QString::number(i + 1) : c.Name; }

// Checks are paired by name (without regard to case), as columns are by
// number. A check whose name is not found is paired with one of the same
// condition (a renamed check); unnamed checks left over are paired in their
// order (an edited condition). What stays unpaired was deleted or added.
void CheckEntries(const TCheckConstraints& dc, const TCheckConstraints& wc, TModifications& list) {
    QVector<int> pair(dc.Count(), -1); // designed -> working position
    QVector<bool> used(wc.Count(), false);
    auto take = [&](int i, int j) {
        pair[i] = j;
        used[j] = true;
    };
    for (int i = 0; i < dc.Count(); ++i) {
        if (dc[i]->Name.trimmed().isEmpty()) continue;
        for (int j = 0; j < wc.Count(); ++j)
            if (!used[j] && SameText(dc[i]->Name, wc[j]->Name)) {
                take(i, j);
                break;
            }
    }
    for (int i = 0; i < dc.Count(); ++i) {
        if (pair[i] >= 0) continue;
        for (int j = 0; j < wc.Count(); ++j)
            if (!used[j] && dc[i]->ImportedConstraint == wc[j]->ImportedConstraint &&
                dc[i]->CustomConstraint == wc[j]->CustomConstraint) {
                take(i, j);
                break;
            }
    }
    for (int i = 0, j = 0; i < dc.Count(); ++i) {
        if (pair[i] >= 0 || !dc[i]->Name.trimmed().isEmpty()) continue;
        while (j < wc.Count() && (used[j] || !wc[j]->Name.trimmed().isEmpty())) ++j;
        if (j < wc.Count()) take(i, j);
    }
    for (int i = 0; i < dc.Count(); ++i)
        if (pair[i] >= 0)
            if (const int detail = CompareChecks(*dc[i], *wc[pair[i]]))
                list.Add(mtCheckConstraint, CheckName(*wc[pair[i]], pair[i]), CheckName(*dc[i], i), 0, detail);
    for (int i = 0; i < dc.Count(); ++i)
        if (pair[i] < 0) list.Add(mtCheckConstraint, CheckName(*dc[i], i), CheckName(*dc[i], i), 0, mdCheckDeleted);
    for (int j = 0; j < wc.Count(); ++j)
        if (!used[j]) list.Add(mtCheckConstraint, CheckName(*wc[j], j), QString(), 0, mdCheckAdded);
}

} // namespace

bool BuildModifications(const TModificationInput& in, TModifications& list) {
    list.Clear();
    bool reset = false;
    if (!in.Designed || !in.Working) return reset;
    auto& d = const_cast<TOstTable&>(*in.Designed);
    auto& w = const_cast<TOstTable&>(*in.Working);
    TableEntries(in, list, reset);
    ColumnEntries(d, w, list);
    if (in.StoredKeyFields != in.KeyFields) list.Add(mtColumn, QStringLiteral("PrimaryKey"), QString(), 0, mdPrimaryKey);
    // The primary index travels with the key, which the entry above reports.
    NamedEntries<TIndexDefs, TIndexDef>(
        d.IndexDefs(), w.IndexDefs(), mtIndex, mdIndexAdded, mdIndexDeleted,
        [](const TIndexDef& a, const TIndexDef& b) { return CompareIndexDefs(a, b); },
        [](const TIndexDef& ix) { return ix.Name; }, &IsPrimary, list);
    NamedEntries<TOstForeignKeyDefs, TOstForeignKeyDef>(
        d.GetIntegrityRules(), w.GetIntegrityRules(), mtForeignKey, mdForeignKeyAdded, mdForeignKeyDeleted,
        [](const TOstForeignKeyDef& a, const TOstForeignKeyDef& b) { return CompareForeignKeyDefs(a, b); },
        [](const TOstForeignKeyDef& fk) { return fk.Name; }, &Never<TOstForeignKeyDef>, list);
    NamedEntries<TOstFulltextIndexDefs, TOstFulltextIndexDef>(
        d.FulltextIndexDefs(), w.FulltextIndexDefs(), mtFulltext, mdFulltextAdded, mdFulltextDeleted,
        [](const TOstFulltextIndexDef& a, const TOstFulltextIndexDef& b) { return CompareIndexDefs(a, b); },
        [](const TOstFulltextIndexDef& ft) { return ft.Name; }, &Never<TOstFulltextIndexDef>, list);
    CheckEntries(d.CheckConstraints(), w.CheckConstraints(), list);
    return reset;
}
