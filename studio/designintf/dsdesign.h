// Design-time support for datasets: the dataset component editor with its
// "Fields Editor..." verb, and the fields editor, which turns a dataset's
// columns into persistent fields (components of the dataset's owner named
// after the dataset and the column, e.g. "Table1Name") and deletes them.
#pragma once

#include "engine/base/tdataset.h"
#include "studio/designintf/componenteditor.h"
#include "studio/designintf/designer.h"

#include <QDialog>
#include <QPointer>
#include <QStringList>

class QListWidget;
class QPushButton;
class TFieldsEditorDialog;

// Fills FieldDefs() of an inactive dataset by opening and closing it.
// EComponentError naming the dataset when it cannot be opened.
void UpdateFieldDefs(TDataSet* ds);
// The dataset's column names; empty without a dataset or when it cannot be opened.
QStringList DataSetColumnNames(TDataSet* ds);
// The persistent fields of a dataset among its owner's components, in component order.
QList<TField*> PersistentFields(const TDataSet* ds);

class TDataSetEditor : public TComponentEditor {
public:
    using TComponentEditor::TComponentEditor;
    int GetVerbCount() const override { return 1; }
    QString GetVerb(int index) const override;
    void ExecuteVerb(int index) override;

    TDataSet* DataSet() const;
    // Shows the fields editor of the dataset, opening one when it has none.
    TFieldsEditorDialog* ShowFieldsEditor();
};

class TFieldsEditorDialog : public QDialog {
    Q_OBJECT
public:
    TFieldsEditorDialog(TDataSet* ds, IDesigner* designer, QWidget* parent = nullptr);
    ~TFieldsEditorDialog() override;
    // The open fields editor of a dataset, or nullptr.
    static TFieldsEditorDialog* Find(const TDataSet* ds);

    TDataSet* DataSet() const { return m_dataSet; }
    // Columns of the dataset that have no persistent field yet.
    QStringList AvailableFieldNames();
    // Creates persistent fields for columns of the dataset, of the classes
    // registered for their field types (see RegisterFieldClass). An open
    // dataset is closed meanwhile and opened again. One undoable step.
    QList<TField*> AddFields(const QStringList& fieldNames);
    // Deletes persistent fields of the dataset; one undoable step.
    void DeleteFields(const QList<TField*>& fields);
    QListWidget* FieldList() const { return m_list; }

public slots:
    void Refresh();

private slots:
    void AddFieldsClicked();
    void DeleteClicked();
    void ComponentRemoved(TComponent* c);

private:
    TDataSet* CheckedDataSet() const;
    template <class F> void Restructure(const QString& text, F&& change);

    QPointer<TDataSet> m_dataSet;
    QPointer<IDesigner> m_designer;
    QListWidget* m_list;
    QPushButton* m_delete;
};
