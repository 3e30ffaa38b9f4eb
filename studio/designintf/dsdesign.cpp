#include "studio/designintf/dsdesign.h"

#include "engine/base/sysutils.h"
#include "engine/base/tclassregistry.h"
#include "engine/base/tdataset.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QJsonObject>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSet>
#include <QVBoxLayout>

void UpdateFieldDefs(TDataSet* ds) {
    if (!ds) throw EComponentError(QStringLiteral("No dataset"));
    if (ds->Active()) return;
    try {
        ds->Open();
        ds->Close();
    } catch (const Exception& e) {
        throw EComponentError(QStringLiteral("Cannot read the fields of %1: %2").arg(ds->GetName(), e.Message()));
    }
}

QStringList DataSetColumnNames(TDataSet* ds) {
    QStringList names;
    if (!ds) return names;
    try {
        UpdateFieldDefs(ds);
    } catch (const EComponentError&) {
        return names;
    }
    for (const TFieldDef* d : ds->FieldDefs()) names.append(d->Name);
    return names;
}

QList<TField*> PersistentFields(const TDataSet* ds) {
    QList<TField*> fields;
    if (!ds || !ds->Owner()) return fields;
    for (TComponent* c : ds->Owner()->Components())
        if (auto* f = qobject_cast<TField*>(c); f && f->DataSet() == ds) fields.append(f);
    return fields;
}

// ---------------------------------------------------------------- TDataSetEditor

QString TDataSetEditor::GetVerb(int index) const {
    if (index != 0) BadVerb(index);
    return QStringLiteral("Fields Editor...");
}

void TDataSetEditor::ExecuteVerb(int index) {
    if (index != 0) BadVerb(index);
    ShowFieldsEditor();
}

TDataSet* TDataSetEditor::DataSet() const { return qobject_cast<TDataSet*>(Component()); }

TFieldsEditorDialog* TDataSetEditor::ShowFieldsEditor() {
    TDataSet* ds = DataSet();
    if (!ds) throw EComponentError(QStringLiteral("The fields editor needs a dataset"));
    TFieldsEditorDialog* dialog = TFieldsEditorDialog::Find(ds);
    if (!dialog) {
        dialog = new TFieldsEditorDialog(ds, Designer());
        dialog->setAttribute(Qt::WA_DeleteOnClose);
    }
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
    return dialog;
}

// ---------------------------------------------------------------- TFieldsEditorDialog

TFieldsEditorDialog::TFieldsEditorDialog(TDataSet* ds, IDesigner* designer, QWidget* parent)
    : QDialog(parent), m_dataSet(ds), m_designer(designer) {
    m_list = new QListWidget(this);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    auto* add = new QPushButton(tr("&Add fields..."), this);
    m_delete = new QPushButton(tr("&Delete"), this);
    auto* close = new QPushButton(tr("Close"), this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(m_delete);
    buttons->addStretch();
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_list);
    layout->addLayout(buttons);
    connect(add, &QPushButton::clicked, this, &TFieldsEditorDialog::AddFieldsClicked);
    connect(m_delete, &QPushButton::clicked, this, &TFieldsEditorDialog::DeleteClicked);
    connect(close, &QPushButton::clicked, this, &QDialog::close);
    connect(m_list, &QListWidget::itemSelectionChanged, this,
            [this] { m_delete->setEnabled(!m_list->selectedItems().isEmpty()); });
    if (designer) {
        connect(designer, &IDesigner::componentAdded, this, &TFieldsEditorDialog::Refresh, Qt::QueuedConnection);
        connect(designer, &IDesigner::propertyChanged, this, &TFieldsEditorDialog::Refresh, Qt::QueuedConnection);
        connect(designer, &IDesigner::componentRemoved, this, &TFieldsEditorDialog::ComponentRemoved);
    }
    resize(260, 320);
    Refresh();
}

TFieldsEditorDialog::~TFieldsEditorDialog() = default;

TFieldsEditorDialog* TFieldsEditorDialog::Find(const TDataSet* ds) {
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* d = qobject_cast<TFieldsEditorDialog*>(w); d && d->DataSet() == ds) return d;
    return nullptr;
}

TDataSet* TFieldsEditorDialog::CheckedDataSet() const {
    if (!m_dataSet) throw EComponentError(QStringLiteral("The dataset no longer exists"));
    if (!m_designer) throw EComponentError(QStringLiteral("The fields editor has no designer"));
    return m_dataSet;
}

void TFieldsEditorDialog::Refresh() {
    m_list->clear();
    if (!m_dataSet) return;
    const TComponent* root = m_dataSet->Owner();
    setWindowTitle(root && !root->GetName().isEmpty() ? QStringLiteral("%1.%2").arg(root->GetName(), m_dataSet->GetName())
                                                      : m_dataSet->GetName());
    for (TField* f : PersistentFields(m_dataSet)) {
        auto* item = new QListWidgetItem(f->GetFieldName(), m_list);
        item->setData(Qt::UserRole, f->GetName());
    }
    m_delete->setEnabled(!m_list->selectedItems().isEmpty());
}

void TFieldsEditorDialog::ComponentRemoved(TComponent* c) {
    if (c == m_dataSet) {
        m_dataSet = nullptr;
        close();
        return;
    }
    QMetaObject::invokeMethod(this, &TFieldsEditorDialog::Refresh, Qt::QueuedConnection);
}

QStringList TFieldsEditorDialog::AvailableFieldNames() {
    TDataSet* ds = CheckedDataSet();
    UpdateFieldDefs(ds);
    QSet<QString> have;
    for (const TField* f : PersistentFields(ds)) have.insert(f->GetFieldName().toLower());
    QStringList names;
    for (const TFieldDef* d : ds->FieldDefs())
        if (!have.contains(d->Name.toLower())) names.append(d->Name);
    return names;
}

// Runs change as one undo group with the dataset closed; a failure takes back
// whatever part of it was done.
template <class F> void TFieldsEditorDialog::Restructure(const QString& text, F&& change) {
    TDataSet* ds = CheckedDataSet();
    const bool wasActive = ds->Active();
    m_designer->BeginUndoGroup(text);
    try {
        if (wasActive) m_designer->SetProperty(ds, QStringLiteral("Active"), false);
        change();
        if (wasActive) m_designer->SetProperty(ds, QStringLiteral("Active"), true);
    } catch (...) {
        m_designer->EndUndoGroup();
        try {
            m_designer->Undo();
        } catch (const Exception&) {
        }
        Refresh();
        throw;
    }
    m_designer->EndUndoGroup();
    Refresh();
}

QList<TField*> TFieldsEditorDialog::AddFields(const QStringList& fieldNames) {
    TDataSet* ds = CheckedDataSet();
    UpdateFieldDefs(ds);
    QSet<QString> have;
    for (const TField* f : PersistentFields(ds)) have.insert(f->GetFieldName().toLower());
    QJsonArray stream;
    for (const QString& name : fieldNames) {
        const TFieldDef* def = ds->FieldDefs().Find(name);
        if (!def) throw EComponentError(QStringLiteral("%1 has no field %2").arg(ds->GetName(), name));
        if (have.contains(def->Name.toLower())) continue;
        have.insert(def->Name.toLower());
        QString componentName = ds->GetName() + def->Name;
        componentName.removeIf([](QChar ch) { return !ch.isLetterOrNumber() && ch != u'_'; });
        if (!TComponent::IsValidIdent(componentName)) componentName = QStringLiteral("Field") + componentName;
        const QString fieldClass = FieldClassName(def->DataType, ds);
        QJsonObject props{{QStringLiteral("FieldName"), def->Name},
                          {QStringLiteral("Size"), def->Size},
                          {QStringLiteral("Required"), def->Required}};
        // Fixed-length text keeps its padding out of the field's text.
        if (const TClassRegistration* r = FindClass(fieldClass);
            r && def->DataType == ftFixedChar && r->metaObject->indexOfProperty("FixedChar") >= 0)
            props.insert(QStringLiteral("FixedChar"), true);
        stream.append(QJsonObject{
            {QStringLiteral("class"), fieldClass},
            {QStringLiteral("name"), componentName},
            {QStringLiteral("dataSet"), ds->GetName()},
            {QStringLiteral("dataType"), QString::fromLatin1(FieldTypeName(def->DataType))},
            {QStringLiteral("properties"), props}});
    }
    QList<TField*> added;
    if (stream.isEmpty()) return added;
    Restructure(tr("Add fields to %1").arg(ds->GetName()), [&] {
        for (TComponent* c : m_designer->InsertComponents(stream))
            if (auto* f = qobject_cast<TField*>(c)) added.append(f);
    });
    return added;
}

void TFieldsEditorDialog::DeleteFields(const QList<TField*>& fields) {
    TDataSet* ds = CheckedDataSet();
    QStringList names;
    for (const TField* f : fields)
        if (f->DataSet() == ds) names.append(f->GetName());
    if (names.isEmpty()) return;
    Restructure(tr("Delete fields of %1").arg(ds->GetName()), [&] {
        for (const QString& name : names)
            if (TComponent* c = m_designer->GetComponent(name)) m_designer->DeleteComponent(c);
    });
}

void TFieldsEditorDialog::AddFieldsClicked() {
    try {
        const QStringList available = AvailableFieldNames();
        if (available.isEmpty()) {
            QMessageBox::information(this, windowTitle(), tr("Every field of %1 is a persistent field already.").arg(m_dataSet->GetName()));
            return;
        }
        QDialog chooser(this);
        chooser.setWindowTitle(tr("Add Fields"));
        auto* list = new QListWidget(&chooser);
        list->setSelectionMode(QAbstractItemView::ExtendedSelection);
        list->addItems(available);
        list->selectAll();
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &chooser);
        connect(buttons, &QDialogButtonBox::accepted, &chooser, &QDialog::accept);
        connect(buttons, &QDialogButtonBox::rejected, &chooser, &QDialog::reject);
        auto* layout = new QVBoxLayout(&chooser);
        layout->addWidget(list);
        layout->addWidget(buttons);
        if (chooser.exec() != QDialog::Accepted) return;
        QStringList chosen;
        for (int i = 0; i < list->count(); ++i)
            if (list->item(i)->isSelected()) chosen.append(list->item(i)->text());
        AddFields(chosen);
    } catch (const Exception& e) {
        QMessageBox::critical(this, windowTitle(), e.Message());
    }
}

void TFieldsEditorDialog::DeleteClicked() {
    QList<TField*> fields;
    for (QListWidgetItem* item : m_list->selectedItems())
        if (auto* f = qobject_cast<TField*>(m_designer ? m_designer->GetComponent(item->data(Qt::UserRole).toString()) : nullptr))
            fields.append(f);
    try {
        DeleteFields(fields);
    } catch (const Exception& e) {
        QMessageBox::critical(this, windowTitle(), e.Message());
    }
}
