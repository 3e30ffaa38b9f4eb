// Between the definitions stored with a table and the components' definition
// collections (TOstFieldDefs, TIndexDefs, fulltext, foreign keys, checks).
#include "engine/ostmetadefs_p.h"

void OstMetaToDefs(const OstTableMeta& meta, TOstFieldDefs& fields, TIndexDefs& idx, TOstFulltextIndexDefs& ft, TOstForeignKeyDefs& fks,
                   TCheckConstraints& cks) {
    fields.Clear();
    for (const auto& c : meta.columns) {
        TOstFieldDef* d = fields.Add(c.name, c.type, c.size);
        d->SetPrecision(c.precision);
        d->SetNullable(c.nullable);
        d->SetIsSpecial(c.special);
        d->SetInternalCalcField(c.internalCalc);
        d->SetCalcExpression(c.expression);
        d->SetSpec(c.spec);
        d->SetFieldNo(static_cast<uint16_t>(c.number));
    }
    idx.Clear();
    for (const auto& i : meta.indexes) {
        TIndexDef* d = idx.Add();
        d->Name = i.name;
        d->Fields = i.fields;
        d->DescFields = i.descFields;
        d->CaseInsFields = i.caseInsFields;
        d->Expression = i.expression;
        d->GroupingLevel = i.groupingLevel;
        d->Options = TIndexOptions(i.options);
        d->Capacity = i.capacity;
    }
    ft.Clear();
    for (const auto& f : meta.fulltext) {
        TOstFulltextIndexDef* d = ft.Add();
        d->Name = f.name;
        d->Fields = f.fields;
        d->Dictionary = f.dictionary;
        d->Separators = f.separators;
        d->MinRelevance = f.minRelevance;
        d->Options = f.options;
    }
    fks.Clear();
    for (const auto& f : meta.foreignKeys) {
        TOstForeignKeyDef* d = fks.Add();
        d->Name = f.name;
        d->ParentTable = f.parentTable;
        d->ChildFields = f.childFields;
        d->ParentFields = f.parentFields;
        d->UpdateAction = static_cast<TOstForeignKeyAction>(f.onUpdate);
        d->DeleteAction = static_cast<TOstForeignKeyAction>(f.onDelete);
    }
    cks.Clear();
    for (const auto& c : meta.checks) {
        TCheckConstraint* d = cks.Add();
        d->Name = c.name;
        d->ImportedConstraint = c.condition;
        d->CustomConstraint = c.custom;
        d->ErrorMessage = c.message;
    }
}

void OstMetaFromDefs(OstTableMeta& meta, const TOstFieldDefs& fields, const TIndexDefs& idx, const TOstFulltextIndexDefs& ft,
                     const TOstForeignKeyDefs& fks, const TCheckConstraints& cks) {
    meta.columns.clear();
    for (TOstFieldDef* d : fields) {
        OstColumnMeta c;
        c.name = d->GetName();
        c.type = d->GetDataTypeOst();
        c.size = d->GetSize();
        c.precision = d->GetPrecision();
        c.nullable = d->GetNullable();
        c.special = d->GetIsSpecial();
        c.internalCalc = d->GetInternalCalcField();
        c.expression = d->GetCalcExpression();
        c.spec = d->GetSpec();
        c.number = d->GetFieldNo();
        meta.columns.append(c);
    }
    meta.indexes.clear();
    for (TIndexDef* d : idx)
        meta.indexes.append({d->Name, d->Fields, d->DescFields, d->CaseInsFields, d->Expression, d->GroupingLevel,
                             static_cast<int>(d->Options.toInt()), d->Capacity});
    meta.fulltext.clear();
    for (TOstFulltextIndexDef* d : ft)
        meta.fulltext.append({d->Name, d->Fields, d->Dictionary, d->Separators, d->MinRelevance, d->Options});
    meta.foreignKeys.clear();
    for (TOstForeignKeyDef* d : fks)
        meta.foreignKeys.append({d->Name, d->ParentTable, d->ChildFields, d->ParentFields, d->UpdateAction, d->DeleteAction});
    meta.checks.clear();
    for (TCheckConstraint* d : cks)
        meta.checks.append({d->Name, d->ImportedConstraint, d->CustomConstraint, d->ErrorMessage});
}

