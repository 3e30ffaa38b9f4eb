// The table designer: the modal form through which a developer views and
// changes the structure of one table component. Its state, the edit guard,
// the change list and the apply sequence live in TOstTableDesignerCore; the
// form shows the working copy on its pages, hands the user's edits to the
// core and answers what the core asks (message boxes, the confirmation of
// the changes, the encryption key, progress and status).
//
// Order of use: create, SetNewTable when the table is to be created,
// SetOstDataset, exec(); a result of Accepted means the table was changed.
#pragma once

#include "designer/core/ostconstraintspage.h"
#include "designer/core/ostindexpagecore.h"
#include "designer/core/osttabledesignercore.h"

#include <QDialog>
#include <QKeySequence>
#include <QString>
#include <memory>

class QAction;
class QCheckBox;
class QComboBox;
class QFrame;
class QProgressBar;
class QPushButton;
class QSpinBox;
class QTabWidget;
class QToolBar;
class QTreeWidget;
class QTreeWidgetItem;
class QLabel;
class QLineEdit;
class QTableWidget;
class TCheckConstraint;
class TColumnPropertyEditor;
class TOstForeignKeyDef;
class TDesignerStatusBar;

class TOstTableDesigner : public QDialog, public ITableDesignerView {
    Q_OBJECT
public:
    explicit TOstTableDesigner(QWidget* parent = nullptr);
    ~TOstTableDesigner() override;

    // ---- Opening
    // Before SetOstDataset; EOstTableDesigner afterwards.
    void SetNewTable(bool value);
    bool NewTable() const { return m_core->NewTable(); }
    // A new table that may overwrite a stored table of its name (see the core).
    void SetReplaceExisting(bool value) { m_core->SetReplaceExisting(value); }
    // The dataset to design (not owned). A dataset that is not a table is
    // only shown: its columns, nothing to edit.
    void SetOstDataset(TOstDataSet* dataSet);
    bool ReadOnlyView() const { return m_core->ReadOnlyView(); }
    TOstTableDesignerCore& Core() const { return *m_core; }

    // ---- ITableDesignerView
    void ShowErrorMsg(const QString& text) override;
    void ShowInfoMsg(const QString& text) override;
    TAnswer GetQuestionResult(const QString& text) override;
    bool ConfirmModifications(const TModifications& list) override;
    QString GetEncryptionKey(int method) override;
    void SetProgress(int percent) override;
    void SetStatusText(const QString& text) override;
    void SetBusy(bool busy) override;
    void FocusTableName() override;
    void SelectColumns(const QList<int>& positions) override;
    void DefinitionsReloaded() override;
    void AllowColumnChanges(bool fieldChange, bool indexChange) override;

    // ---- The General page: columns
    void UpdateColumnsListView(const TOstFieldDef* select);
    // The column definition a row shows, or nullptr.
    TOstFieldDef* GetFieldDef(const QTreeWidgetItem* item) const;
    QTreeWidgetItem* SelectedItem() const;

    // ---- The General page: table properties
    void GetTableProperties();
    // Controls to working table; false when the capacity was refused.
    bool SetTableProperties();
    QString GetCollationInfo() const;

    // ---- The Checks page (ostcheckspage.cpp)
    void UpdateChecksListView(const TCheckConstraint* select);
    void DisplayCheck(TCheckConstraint* check);
    // Condition and message edits into the selected row's check.
    void SetCheckProperties();
    // The condition through the filter dialog; the text unchanged when cancelled.
    QString EditCheck(const QString& condition);
    void EditCheckConstraint(TCheckConstraint* check);
    TCheckConstraint* SelectedCheck() const;
    TChecksPageCore& ChecksCore() const { return *m_checksCore; }
    QTreeWidget* ChecksListView() const { return m_checksList; }
    QAction* NewCheckAct() const { return m_newCheckAct; }
    QAction* DeleteCheckAct() const { return m_deleteCheckAct; }
    QAction* EditCheckAct() const { return m_editCheckAct; }
    QWidget* CheckDetailPanel() const { return m_checkDetailPanel; }
    QLineEdit* CheckConditionEdit() const { return m_checkConditionEdit; }
    QLineEdit* CheckMessageEdit() const { return m_checkMessageEdit; }
    QPushButton* EditCheckConditionBtn() const { return m_editCheckConditionBtn; }
    QLabel* ChecksInfoLabel() const { return m_checksInfo; }

    // ---- The Relationships page (ostrelationspage.cpp)
    void UpdateForeignKeyDefsListView(const TOstForeignKeyDef* select);
    void DisplayForeignKeyDef(TOstForeignKeyDef* def);
    void UpdateParentTableIndexes(const QString& parentFields);
    TOstForeignKeyDef* SelectedForeignKeyDef() const;
    TRelationshipsPageCore& RelationshipsCore() const { return *m_relationsCore; }
    QTreeWidget* ForeignKeyDefsListView() const { return m_foreignKeyList; }
    QAction* NewRelationshipAct() const { return m_newRelationshipAct; }
    QAction* DeleteRelationshipAct() const { return m_deleteRelationshipAct; }
    QAction* EditRelationshipAct() const { return m_editRelationshipAct; }
    QLineEdit* ForeignKeyNameEdit() const { return m_foreignKeyNameEdit; }
    QComboBox* ParentTableCombobox() const { return m_parentTableCombobox; }
    QComboBox* ParentIndexesBox() const { return m_parentIndexesBox; }
    QLabel* ChildFieldsLabel() const { return m_childFieldsLabel; }
    QTableWidget* IR_ValueList() const { return m_irValueList; }
    // The value editor of a row of the value list: a pick list of this table's columns.
    QComboBox* IR_ValueListEditor(int row) const;
    QComboBox* UpdateActionBox() const { return m_updateActionBox; }
    QComboBox* DeleteActionBox() const { return m_deleteActionBox; }
    QLabel* RelationshipsInfoLabel() const { return m_relationsInfo; }

    // ---- The Indexes page (ostindexpage.cpp)
    // Fills the list again and selects the row of select (a TIndexDef or a
    // TOstFulltextIndexDef; none for nullptr).
    void UpdateIndexListView(const TCollectionItem* select);
    bool IsValidIndexName(const TCollectionItem* def, const QString& name) const;
    // The row of the selected list entry (no definition when none is selected).
    TIndexListRow SelectedIndexRow() const;
    TIndexesPageCore& IndexesCore() const { return *m_indexesCore; }
    QTreeWidget* IndexListView() const { return m_indexList; }
    QToolBar* IndexToolBar() const { return m_indexToolBar; }
    QAction* NewIndexAct() const { return m_newIndexAct; }
    QAction* EditIndexAct() const { return m_editIndexAct; }
    QAction* DeleteIndexAct() const { return m_deleteIndexAct; }

    // ---- Controls, for the pages that come later and for tests
    QTabWidget* DesignerPageControl() const { return m_pages; }
    QWidget* GeneralPage() const { return m_generalPage; }
    QWidget* ChecksPage() const { return m_checksPage; }
    QWidget* RelationshipsPage() const { return m_relationshipsPage; }
    QWidget* IndexesPage() const { return m_indexesPage; }
    QTreeWidget* ColumnListView() const { return m_columnList; }
    QToolBar* ColumnToolBar() const { return m_columnToolBar; }
    QAction* NewColumnAct() const { return m_newColumnAct; }
    QAction* DeleteColumnAct() const { return m_deleteColumnAct; }
    QAction* MoveColumnUpAct() const { return m_moveColumnUpAct; }
    QAction* MoveColumnDownAct() const { return m_moveColumnDownAct; }
    QAction* PrimaryKeyAct() const { return m_primaryKeyAct; }
    TColumnPropertyEditor* ColumnPropertyEditor() const { return m_columnPropertyEditor; }
    QWidget* ColumnPropertiesPanel() const { return m_columnPropertiesPanel; }
    QFrame* TablePropertiesPanel() const { return m_tablePropertiesPanel; }
    QLineEdit* TableNameEdit() const { return m_tableNameEdit; }
    QSpinBox* TableLevelSpinEdit() const { return m_tableLevelSpinEdit; }
    QComboBox* CapacityComboBox() const { return m_capacityComboBox; }
    QComboBox* EncryptionTypComboBox() const { return m_encryptionTypComboBox; }
    QPushButton* EncryptionKeyBtn() const { return m_encryptionKeyBtn; }
    QComboBox* CollationsComboBox() const { return m_collationsComboBox; }
    QCheckBox* AccentSensitiveCheckBox() const { return m_accentCheckBox; }
    QCheckBox* CaseSensitiveCheckBox() const { return m_caseCheckBox; }
    TDesignerStatusBar* TableDesignerStatusBar() const { return m_statusBar; }
    QProgressBar* ProgressBar() const { return m_progressBar; }
    QPushButton* ApplyBtn() const { return m_applyBtn; }
    QPushButton* CloseBtn() const { return m_closeBtn; }

public slots:
    void ApplyBtnClick();
    void CloseBtnClick();
    // Escape and the window's close button ask like the Close button.
    void reject() override;

    // Column actions
    void NewColumnActExecute();
    void DeleteColumnActExecute();
    void MoveColumnUpActExecute();
    void MoveColumnDownActExecute();
    void PrimaryKeyBtnClick();

    // Table properties
    void TablePropertiesEditExit();
    void CollationsComboBoxChange();
    void TableLevelSpinEditChange();
    void EncryptionTypComboBoxChange();
    void EncryptionkeyBtnClick();

    // Checks
    void NewCheckActExecute();
    void DeleteCheckActExecute();
    void EditCheckActExecute();
    void UpdateCheck();
    void EditCheckConditionBtnClick();

    // Indexes
    void NewIndexActExecute();
    void EditIndexActExecute();
    void DeleteIndexActExecute();
    void IndexActUpdate();

    // Relationships
    void NewRelationshipActExecute();
    void DeleteRelationshipActExecute();
    void EditRelationShipActExecute();
    void ForeignKeyDefsListViewClick();
    void ForeignKeyNameEditExit();
    void ParentTableComboboxChange();
    void ParentIndexesBoxChange();
    void IRComboBoxChange(QComboBox* box);
    void IR_ValueListSetEditText(int row);

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void CreateGeneralPage();
    QWidget* CreateColumnsPanel();
    QFrame* CreateTablePropertiesPanel();
    void CreateStatusBar();
    void CreateChecksPage();
    void CreateRelationshipsPage();
    void CreateIndexesPage();
    void CheckActUpdate();
    void EditChecksListViewItem(QTreeWidgetItem* item, const TCheckConstraint* check);
    void ChecksSheetShow();
    void RealignChecksTab();
    void RelationShipActUpdate();
    void EditForeignKeyDefsListViewItem(QTreeWidgetItem* item, const TOstForeignKeyDef* def);
    void UpdateValuePicklist();
    void SetForeignKeyActionBox(QComboBox* box, int action);
    void ApplyReadOnlyView();

    void FormCloseQuery(bool& canClose);
    void DesignerPageControlChange(int index);
    void TableDesignerStatusBarDrawPanel(TDesignerStatusBar* statusBar, int panel, const QRect& rect);
    void UpdateCaption();
    void SetApplyEnabled(bool enabled);
    // The action states; run after every change of the list or the level.
    void UpdateActions();
    void ExistColumnUpdate();
    void MoveColumnUpActUpdate();
    void MoveColumnDownActUpdate();
    // A name typed into the column property editor counts before a
    // structural action, as if the edit had been left.
    void CommitColumnName();
    // Runs a handler; what it raises is shown as "Error" instead of leaving
    // the Qt slot.
    template <class F> void Guarded(F&& handler);

    // Columns page
    void EditColumnListViewItem(QTreeWidgetItem* item, int position, const TOstFieldDef* def);
    void ColumnListViewSelectItem();
    void UpdateColumnDefEditor();
    void ColumnPropertyEditorChangeValue(TColumnPropertyEditor* editor);
    void MoveColumn(int delta);
    void RenumberColumns();
    void CheckSelectedItemVisible();
    void SelectRow(int row);

    std::unique_ptr<TOstTableDesignerCore> m_core;
    QString m_editedColumnName;
    // What the index boxes of the column property editor showed for the column.
    bool m_columnCreateIndex = false;
    bool m_columnInFulltext = false;
    bool m_applyWanted = true;
    bool m_fillingList = false;
    bool m_inPropertiesExit = false;
    bool m_readingProperties = false;
    bool m_busyCursor = false;
    bool m_closing = false;

    QTabWidget* m_pages = nullptr;
    QWidget* m_generalPage = nullptr;
    QWidget* m_checksPage = nullptr;
    QWidget* m_relationshipsPage = nullptr;
    QWidget* m_indexesPage = nullptr;
    QTreeWidget* m_columnList = nullptr;
    QToolBar* m_columnToolBar = nullptr;
    QAction* m_newColumnAct = nullptr;
    QAction* m_deleteColumnAct = nullptr;
    QAction* m_moveColumnUpAct = nullptr;
    QAction* m_moveColumnDownAct = nullptr;
    QAction* m_primaryKeyAct = nullptr;
    QWidget* m_columnPropertiesPanel = nullptr;
    TColumnPropertyEditor* m_columnPropertyEditor = nullptr;
    QFrame* m_tablePropertiesPanel = nullptr;
    QLineEdit* m_tableNameEdit = nullptr;
    QSpinBox* m_tableLevelSpinEdit = nullptr;
    QComboBox* m_capacityComboBox = nullptr;
    QComboBox* m_encryptionTypComboBox = nullptr;
    QPushButton* m_encryptionKeyBtn = nullptr;
    QComboBox* m_collationsComboBox = nullptr;
    QCheckBox* m_accentCheckBox = nullptr;
    QCheckBox* m_caseCheckBox = nullptr;
    TDesignerStatusBar* m_statusBar = nullptr;
    QProgressBar* m_progressBar = nullptr;
    QPushButton* m_applyBtn = nullptr;
    QPushButton* m_closeBtn = nullptr;

    std::unique_ptr<TChecksPageCore> m_checksCore;
    bool m_fillingChecks = false;
    QLabel* m_checksInfo = nullptr;
    QWidget* m_checksSpacer = nullptr;
    QToolBar* m_checksToolBar = nullptr;
    QTreeWidget* m_checksList = nullptr;
    QAction* m_newCheckAct = nullptr;
    QAction* m_deleteCheckAct = nullptr;
    QAction* m_editCheckAct = nullptr;
    QWidget* m_checkDetailPanel = nullptr;
    QLineEdit* m_checkConditionEdit = nullptr;
    QLineEdit* m_checkMessageEdit = nullptr;
    QPushButton* m_editCheckConditionBtn = nullptr;

    std::unique_ptr<TIndexesPageCore> m_indexesCore;
    QVector<TIndexListRow> m_indexRows;
    QToolBar* m_indexToolBar = nullptr;
    QTreeWidget* m_indexList = nullptr;
    QAction* m_newIndexAct = nullptr;
    QAction* m_editIndexAct = nullptr;
    QAction* m_deleteIndexAct = nullptr;

    std::unique_ptr<TRelationshipsPageCore> m_relationsCore;
    bool m_fillingRelations = false;
    QLabel* m_relationsInfo = nullptr;
    QToolBar* m_relationsToolBar = nullptr;
    QTreeWidget* m_foreignKeyList = nullptr;
    QAction* m_newRelationshipAct = nullptr;
    QAction* m_deleteRelationshipAct = nullptr;
    QAction* m_editRelationshipAct = nullptr;
    QWidget* m_relationDetailPanel = nullptr;
    QLineEdit* m_foreignKeyNameEdit = nullptr;
    QComboBox* m_parentTableCombobox = nullptr;
    QComboBox* m_parentIndexesBox = nullptr;
    QLabel* m_childFieldsLabel = nullptr;
    QTableWidget* m_irValueList = nullptr;
    QComboBox* m_updateActionBox = nullptr;
    QComboBox* m_deleteActionBox = nullptr;
};

template <class F> void TOstTableDesigner::Guarded(F&& handler) {
    try {
        handler();
    } catch (const Exception& e) {
        ShowErrorMsg(e.Message());
    } catch (const std::exception& e) {
        ShowErrorMsg(QString::fromLocal8Bit(e.what()));
    }
}

// Makes a page's toolbar usable from the keyboard: each action gets its key
// (working anywhere in the designer while the page shows; the tooltips keep
// their hints) and each button a tab stop.
void GiveToolBarKeys(QWidget* page, QToolBar* toolBar, const QList<QPair<QAction*, QKeySequence>>& keys);

// The designer's status bar: a text panel 150 pixels wide and a second panel
// that its owner draws (the designer lays its progress bar over it).
class TDesignerStatusBar : public QWidget {
    Q_OBJECT
public:
    static constexpr int TextPanelWidth = 150;
    explicit TDesignerStatusBar(QWidget* parent = nullptr);

    QString PanelText() const { return m_text; }
    void SetPanelText(const QString& text);
    // Panel 0 (text) or 1 (owner-drawn), in the bar's coordinates.
    QRect PanelRect(int panel) const;
    QSize sizeHint() const override;

signals:
    void drawPanel(TDesignerStatusBar* statusBar, int panel, const QRect& rect);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_text;
};
