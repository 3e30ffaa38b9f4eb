// The property editors that Register binds to the engine's components.
#include "common/ostdialogservice.h"
#include "common/rkdialogs.h"
#include "engine/ostdataset.h"
#include "engine/ostextcomps.h"
#include "engine/ostquery.h"
#include "ide/ostreg.h"
#include "ide/osttableeditor.h"
#include "query/ostfilterdlg.h"
#include "query/ostsqledit.h"
#include "setup/ostdatabasenamedlg.h"
#include "setup/ostselectdbdlg.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/dsdesign.h"

#include <QFileInfo>
#include <QPointer>

namespace {

// An engine dataset's column definitions, read without leaving it open.
const TOstFieldDefs* EngineColumns(TDataSet* ds) {
    auto* ods = qobject_cast<TOstDataSet*>(ds);
    if (!ods) return nullptr;
    if (!ods->Active()) {
        if (auto* t = qobject_cast<TOstTable*>(ods)) t->ReadDefinitions();
        else UpdateFieldDefs(ods);
    }
    return &ods->GetFieldDefsOst();
}

QStringList ColumnsOfTypes(TDataSet* ds, std::initializer_list<int> types) {
    QStringList names;
    const TOstFieldDefs* defs = EngineColumns(ds);
    if (!defs) return names;
    for (const TOstFieldDef* d : *defs)
        if (std::find(types.begin(), types.end(), d->GetDataTypeOst()) != types.end()) names.append(d->GetName());
    return names;
}

// The definitions of a closed table are read from its file first.
TOstTable* TableWithDefinitions(TComponent* c) {
    auto* t = qobject_cast<TOstTable*>(c);
    if (t && !t->Active() && !t->GetTableName().isEmpty() && t->GetDatabase()) t->ReadDefinitions();
    return t;
}

} // namespace

QStringList DatabaseTableNames(const QString& databaseName, const TComponent* module) {
    QStringList names;
    if (databaseName.trimmed().isEmpty()) return names;
    TOstDatabase* db = nullptr;
    if (module)
        for (TComponent* c : module->Components())
            if (auto* d = qobject_cast<TOstDatabase*>(c); d && d->GetDatabaseName().compare(databaseName, Qt::CaseInsensitive) == 0)
                db = d;
    if (!db) db = FindOstDatabase(databaseName);
    if (db) {
        db->GetTableNames(names, false);
        return names;
    }
    // A bare location: a temporary database there, always freed.
    const std::unique_ptr<TOstDatabase> temp = std::make_unique<TOstDatabase>(nullptr);
    const QFileInfo fi(databaseName);
    temp->SetDatabaseName(databaseName);
    temp->SetLocation(databaseName);
    temp->SetDatabaseType(fi.isFile() || fi.suffix().compare(QStringLiteral("ostd"), Qt::CaseInsensitive) == 0
                              ? dbtSingleFile : dbtDirectory);
    temp->SetConnected(true);
    temp->GetTableNames(names, false);
    temp->SetConnected(false);
    return names;
}

// ---------------------------------------------------------------- databases

namespace {

// Property changes made as one undoable step. Without a designer they are
// written straight to the components. Rollback() takes back what was done.
class TChangeGroup {
public:
    TChangeGroup(IDesigner* designer, const QString& text) : m_designer(designer) {
        if (m_designer) m_designer->BeginUndoGroup(text);
    }
    ~TChangeGroup() {
        if (m_designer && m_open) m_designer->EndUndoGroup();
    }
    void Set(TComponent* c, const char* property, const QVariant& value) {
        const QVariant old = c->property(property);
        if (m_designer) {
            m_designer->SetProperty(c, QString::fromLatin1(property), value);
        } else {
            const QMetaProperty p = c->metaObject()->property(c->metaObject()->indexOfProperty(property));
            if (!p.write(c, value)) throw EComponentError(QStringLiteral("Invalid value for property %1").arg(property));
        }
        m_done.append({c, property, old});
    }
    void Rollback() {
        if (m_designer) {
            m_designer->EndUndoGroup();
            m_open = false;
            try {
                if (!m_done.isEmpty()) m_designer->Undo();
            } catch (const Exception&) {
                // what could not be taken back stays; the first error is the one to report
            }
            return;
        }
        for (auto it = m_done.crbegin(); it != m_done.crend(); ++it) {
            try {
                const QMetaProperty p = it->c->metaObject()->property(it->c->metaObject()->indexOfProperty(it->property));
                p.write(it->c, it->old);
            } catch (const Exception&) {
            }
        }
    }

private:
    struct TDone {
        QPointer<TComponent> c;
        const char* property;
        QVariant old;
    };
    IDesigner* m_designer;
    bool m_open = true;
    QList<TDone> m_done;
};

} // namespace

void TOstDatabaseNameProperty::SetValue(const QString& value) {
    auto* db = qobject_cast<TOstDatabase*>(GetComponent());
    const QString old = db ? db->GetDatabaseName() : QString();
    if (!db || value == old) return TStringProperty::SetValue(value);
    // The datasets that follow the rename; open ones are closed for it, and so is the database.
    QList<TOstDataSet*> dependants, open;
    if (db->Owner() && !old.isEmpty())
        for (TComponent* c : db->Owner()->Components())
            if (auto* ds = qobject_cast<TOstDataSet*>(c); ds && ds->GetDatabaseName().compare(old, Qt::CaseInsensitive) == 0) {
                dependants.append(ds);
                if (ds->Active()) open.append(ds);
            }
    const bool connected = db->GetConnected();
    TChangeGroup group(Designer(), QStringLiteral("Rename database %1").arg(old));
    try {
        for (TOstDataSet* ds : open) group.Set(ds, "Active", false);
        if (connected) group.Set(db, "Connected", false);
        group.Set(db, "DatabaseName", value);
        const QString now = db->GetDatabaseName();
        for (TOstDataSet* ds : dependants) group.Set(ds, "DatabaseName", now);
        if (connected) group.Set(db, "Connected", true);
        for (TOstDataSet* ds : open) group.Set(ds, "Active", true);
    } catch (...) {
        group.Rollback();
        throw;
    }
}

// ---------------------------------------------------------------- locations

TPropertyAttributes TOstDatabaseLocationProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paDialog;
}

void TOstDatabaseLocationProperty::SetValue(const QString& value) {
    auto* db = qobject_cast<TOstDatabase*>(GetComponent());
    if (!db || value == db->GetLocation()) return TStringProperty::SetValue(value);
    const bool connected = db->GetConnected();
    // A table file stands for the directory database of its folder.
    const QString location = QFileInfo(value).isFile() ? DatabaseLocationOfFile(value) : value;
    const QFileInfo where(location);
    TChangeGroup group(Designer(), QStringLiteral("Change %1.Location").arg(db->GetName()));
    try {
        if (connected) group.Set(db, "Connected", false);
        if (where.isDir()) group.Set(db, "DatabaseType", int(dbtDirectory));
        else if (where.isFile()) group.Set(db, "DatabaseType", int(dbtSingleFile));
        group.Set(db, "Location", location);
        if (connected) group.Set(db, "Connected", true);
    } catch (...) {
        group.Rollback();
        throw;
    }
}

void TOstDatabaseLocationProperty::Edit() {
    auto* db = qobject_cast<TOstDatabase*>(GetComponent());
    if (!db) return;
    QString location;
    const QString current = db->GetLocation();
    SelectDatabase(QFileInfo(current).isFile() ? QFileInfo(current).absolutePath() : current, location);
    if (!location.isEmpty()) SetValue(location);
}

TPropertyAttributes TOstDataSetDatabaseNameProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paDialog;
}

void TOstDataSetDatabaseNameProperty::SetValue(const QString& value) {
    auto* ds = qobject_cast<TOstDataSet*>(GetComponent());
    if (!ds || value == ds->GetDatabaseName() || !ds->Active()) return TStringProperty::SetValue(value);
    // An open dataset is closed before its database changes.
    TChangeGroup group(Designer(), QStringLiteral("Change %1.DatabaseName").arg(ds->GetName()));
    try {
        group.Set(ds, "Active", false);
        group.Set(ds, "DatabaseName", value);
    } catch (...) {
        group.Rollback();
        throw;
    }
}

void TOstDataSetDatabaseNameProperty::Edit() {
    auto* ds = qobject_cast<TOstDataSet*>(GetComponent());
    if (!ds) return;
    QString name;
    {
        TDatabaseNameDlg dialog;
        dialog.SetDatabaseName(ds->GetDatabaseName());
        if (dialog.exec() != QDialog::Accepted) return;
        name = dialog.GetDatabaseName();
    }
    if (name == ds->GetDatabaseName()) return;
    TChangeGroup group(Designer(), QStringLiteral("Change %1.DatabaseName").arg(ds->GetName()));
    try {
        if (ds->Active()) group.Set(ds, "Active", false);
        const QFileInfo where(name);
        if (!name.isEmpty() && (where.isFile() || where.isDir()))
            name = GetNewDatabaseConnection(ds, Designer(), name);
        group.Set(ds, "DatabaseName", name);
    } catch (...) {
        group.Rollback();
        throw;
    }
}

TPropertyAttributes TOstDatabasePrivateDirProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paDialog;
}

void TOstDatabasePrivateDirProperty::Edit() {
    QString dir;
    if (rkSelectDirectory(QStringLiteral("Directory"), QString(), dir)) SetValue(dir);
}

// ---------------------------------------------------------------- tables

TPropertyAttributes TOstTableTableNameProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paValueList | paSortList;
}

void TOstTableTableNameProperty::GetValues(QStringList& values) const {
    auto* t = qobject_cast<TOstTable*>(GetComponent());
    values = t ? DatabaseTableNames(t->GetDatabaseName(), t->Owner()) : QStringList();
}

TPropertyAttributes TOstTableIndexNameProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paValueList | paSortList;
}

void TOstTableIndexNameProperty::GetValues(QStringList& values) const {
    values.clear();
    if (TOstTable* t = TableWithDefinitions(GetComponent()))
        for (const TIndexDef* ix : t->IndexDefs()) values.append(ix->Name);
}

TPropertyAttributes TOstTableFulltextIndexNameProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paValueList | paSortList;
}

void TOstTableFulltextIndexNameProperty::GetValues(QStringList& values) const {
    values.clear();
    if (TOstTable* t = TableWithDefinitions(GetComponent()))
        for (int i = 0; i < t->FulltextIndexDefs().Count(); ++i)
            values.append(t->FulltextIndexDefs().GetFulltextIndexDef(i)->Name);
}

// ---------------------------------------------------------------- batch move

TPropertyAttributes TOstBatchMoveFileNameProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paDialog;
}

void TOstBatchMoveFileNameProperty::Edit() {
    QString file = GetValue();
    const QString dir = file.isEmpty() ? QString() : QFileInfo(file).absolutePath();
    if (OstDialogs().OpenFileName(nullptr, QStringLiteral("File Name"),
                                  QStringLiteral("Text files (*.txt)|*.txt|All files (*)|*"), dir, file))
        SetValue(file);
}

// ---------------------------------------------------------------- columns of linked datasets

TDataSet* TOstEnumFieldProperty::GetDataSet() const {
    auto* set = qobject_cast<TOstEnumValueSet*>(GetComponent());
    return set ? set->DataSet() : nullptr;
}

void TOstEnumFieldProperty::GetValues(QStringList& values) const { values = ColumnsOfTypes(GetDataSet(), {dtEnum}); }

TDataSet* TOstBlobproviderFieldProperty::GetDataSet() const {
    auto* provider = qobject_cast<TOstBlobProvider*>(GetComponent());
    return provider ? provider->DataSet() : nullptr;
}

void TOstBlobproviderFieldProperty::GetValues(QStringList& values) const {
    values = ColumnsOfTypes(GetDataSet(), {dtBlob, dtMemo, dtWideMemo});
}

// ---------------------------------------------------------------- filters

TPropertyAttributes TOstDataSetFilterProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paDialog;
}

void TOstDataSetFilterProperty::Edit() {
    auto* ds = qobject_cast<TOstDataSet*>(GetComponent());
    if (!ds) return;
    try {
        EngineColumns(ds);
    } catch (const Exception&) {
        // a dataset whose table cannot be read yet: the dialog offers no columns
    }
    TOstFilterDialog dialog;
    dialog.SetOstDataset(ds);
    if (!GetValue().isEmpty()) dialog.SetFilterText(GetValue());
    if (dialog.exec() == QDialog::Accepted) SetValue(dialog.GetFilterText());
}

// ---------------------------------------------------------------- SQL

TPropertyAttributes TOstSQLBuilderProperty::GetAttributes() const {
    return (TStringProperty::GetAttributes() | paDialog | paReadOnly) & ~TPropertyAttributes(paMultiSelect);
}

QString TOstSQLBuilderProperty::GetValue() const {
    const QStringList lines = GetVariantValue().toStringList();
    int first = 0;
    while (first < lines.size() && lines[first].trimmed().isEmpty()) ++first;
    if (first == lines.size()) return {};
    bool more = false;
    for (int i = first + 1; i < lines.size() && !more; ++i) more = !lines[i].trimmed().isEmpty();
    return more ? lines[first].trimmed() + QStringLiteral(" \u2026") : lines[first].trimmed();
}

void TOstSQLBuilderProperty::SetValue(const QString& value) {
    QString text = value;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    SetVariantValue(text.isEmpty() ? QStringList() : text.split(u'\n'));
}

void TOstSQLBuilderProperty::Edit() {
    auto* query = qobject_cast<TOstQuery*>(GetComponent());
    if (!query) return;
    QPointer<TOstQuery> guard(query);
    // Listing is quiet: a database that cannot be read offers nothing.
    auto tables = [guard](QStringList& list, bool) {
        list.clear();
        if (!guard) return;
        try {
            list = DatabaseTableNames(guard->GetDatabaseName(), guard->Owner());
        } catch (const std::exception&) {
        }
    };
    auto fields = [guard](const QString& tableName, QStringList& list) {
        list.clear();
        if (!guard) return;
        try {
            TOstTable table(nullptr);
            table.SetDatabaseName(guard->GetDatabaseName());
            table.SetTableName(tableName);
            table.ReadDefinitions();
            for (const TOstFieldDef* d : table.GetFieldDefsOst()) list.append(d->GetName());
        } catch (const std::exception&) {
        }
    };
    // Run uses a query of its own on the same database; the designed query stays as it is.
    auto queries = [guard]() -> std::unique_ptr<TOstQuery> {
        if (!guard) return nullptr;
        TOstDatabase* db = guard->GetDatabase();
        if (!db) throw EOstraError(OstErr::General, QStringLiteral("%1 has no database: set its DatabaseName first").arg(guard->GetName()));
        auto run = std::make_unique<TOstQuery>(nullptr);
        run->SetDatabaseName(FindOstDatabase(db->GetDatabaseName()) == db ? db->GetDatabaseName() : db->ResolvedLocation());
        return run;
    };
    QStringList lines = query->GetSQLLines();
    if (!EditSQL(lines, tables, fields, SqlFromTable(lines.join(u'\n')), QStringLiteral("\""), OstSqlNeedsQuote, queries))
        return;
    if (guard && lines != guard->GetSQLLines()) SetVariantValue(lines);
}
