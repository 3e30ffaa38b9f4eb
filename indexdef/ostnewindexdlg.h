// The index definition dialog ("Define Index"): one index of a table, defined
// or changed - a hierarchical index over a list of columns, a calculated
// index over an expression, or a fulltext index over the words of columns
// with its dictionary. What the dialog holds and checks is
// TIndexDefinitionCore's; the form shows it and hands it every edit.
//
// Order of use: SetTable, SetAllowFileExt, SetEditableStringLength,
// ModifyIndexDef to edit an index, exec(); after OK read the result with
// UpdateIndexDef or through Core().
#pragma once

#include "indexdef/core/ostindexdefcore.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QSpinBox;
class QTabWidget;

class TIndexDefinition : public QDialog {
    Q_OBJECT
public:
    explicit TIndexDefinition(QWidget* parent = nullptr);

    // ---- preparing and reading
    void SetTable(TOstTable* table);
    void SetAllowFileExt(bool allow);
    // Shows or hides the key length; Exception once the dialog is showing.
    void SetEditableStringLength(bool editable);
    void ModifyIndexDef(const TIndexDef* def);
    void ModifyIndexDef(const TOstFulltextIndexDef* def);
    void SetPendingDictionary(const TDictionaryItem* item);
    void UpdateIndexDef(TIndexDef& def) const { m_core.UpdateIndexDef(def); }
    void UpdateIndexDef(TOstFulltextIndexDef& def) const { m_core.UpdateIndexDef(def); }
    bool CheckIndexDefinitionModified() const { return m_core.CheckIndexDefinitionModified(); }
    bool IsCalculatedIndex() const { return m_core.IsCalculatedIndex(); }
    bool IsFulltextIndex() const { return m_core.IsFulltextIndex(); }
    QString IndexName() const { return m_core.IndexName; }
    TIndexDefinitionCore& Core() { return m_core; }
    // The controls show the core's state again (after it was changed directly).
    void UpdateControls() { ShowState(); }
    const TIndexDefinitionCore& Core() const { return m_core; }

    // ---- controls, for tests
    QTabWidget* PageControl() const { return m_pages; }
    QWidget* GeneralPage() const { return m_generalPage; }
    QWidget* HierarchicalPage() const { return m_hierarchicalPage; }
    QWidget* CalculatedPage() const { return m_calculatedPage; }
    QWidget* FulltextPage() const { return m_fulltextPage; }
    QWidget* AdvancedPage() const { return m_advancedPage; }
    QLineEdit* IndexNameEdit() const { return m_nameEdit; }
    QRadioButton* HierarchicalRadio() const { return m_hierarchicalRadio; }
    QRadioButton* CalculatedRadio() const { return m_calculatedRadio; }
    QRadioButton* FulltextRadio() const { return m_fulltextRadio; }
    QCheckBox* UniqueCheckBox() const { return m_uniqueBox; }
    QListWidget* AvailableColumnsList() const { return m_availableList; }
    QListWidget* IndexFieldsList() const { return m_keyList; }
    QPushButton* InsertColumnBtn() const { return m_insertBtn; }
    QPushButton* DeleteColumnBtn() const { return m_deleteBtn; }
    QPushButton* DeleteAllColumnsBtn() const { return m_deleteAllBtn; }
    QPushButton* MoveUpBtn() const { return m_upBtn; }
    QPushButton* MoveDownBtn() const { return m_downBtn; }
    QRadioButton* AscendingRadio() const { return m_ascendingRadio; }
    QRadioButton* DescendingRadio() const { return m_descendingRadio; }
    QLabel* LengthLabel() const { return m_lengthLabel; }
    QSpinBox* LengthSpinEdit() const { return m_lengthSpin; }
    QLineEdit* ExpressionEdit() const { return m_expressionEdit; }
    QLabel* ExpressionHintLabel() const { return m_expressionHint; }
    QListWidget* FulltextColumnsList() const { return m_fulltextList; }
    QPushButton* CheckSelectedBtn() const { return m_checkBtn; }
    QPushButton* UncheckSelectedBtn() const { return m_uncheckBtn; }
    QSpinBox* MinRelevanceSpinEdit() const { return m_relevanceSpin; }
    QComboBox* DictionaryComboBox() const { return m_dictionaryBox; }
    QLabel* SeparatorsLabel() const { return m_separatorsLabel; }
    QLineEdit* SeparatorsEdit() const { return m_separatorsEdit; }
    QGroupBox* NewDictionaryGroup() const { return m_newDictionaryGroup; }
    QLineEdit* DicTableNameEdit() const { return m_dicNameEdit; }
    QSpinBox* MaxKeywordLengthSpinEdit() const { return m_keywordSpin; }
    QComboBox* DicEncryptionTypComboBox() const { return m_dicEncryptionBox; }
    QPushButton* DicEncryptionkeyBtn() const { return m_dicKeyBtn; }
    QComboBox* CapacityComboBox() const { return m_capacityBox; }
    QPushButton* OkBtn() const { return m_okBtn; }
    QPushButton* CancelBtn() const { return m_cancelBtn; }

public slots:
    // OK: the checks; the dialog stays open with everything entered when one fails.
    void accept() override;
    void CheckVisibleSheet();
    void UpdateVisibleControls();
    void SetNewDictionaryBoxMode(bool enabled);
    void DicEncryptionTypComboBoxChange();
    void DicEncryptionkeyBtnClick();
    void InsertColumnBtnClick();
    void DeleteColumnBtnClick();
    void DeleteAllColumnsBtnClick();
    void MoveUpBtnClick();
    void MoveDownBtnClick();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    QWidget* CreateGeneralPage();
    QWidget* CreateHierarchicalPage();
    QWidget* CreateCalculatedPage();
    QWidget* CreateFulltextPage();
    QWidget* CreateAdvancedPage();
    // The controls from the core's state.
    void ShowState();
    void ShowKeys(int select);
    void ShowSelectedKey();
    void ShowFulltextColumns();
    void SetFulltextChecks(bool checked);
    int SelectedKey() const;

    TIndexDefinitionCore m_core;
    bool m_showing = false; // while the controls are set from the core

    QTabWidget* m_pages = nullptr;
    QWidget* m_generalPage = nullptr;
    QWidget* m_hierarchicalPage = nullptr;
    QWidget* m_calculatedPage = nullptr;
    QWidget* m_fulltextPage = nullptr;
    QWidget* m_advancedPage = nullptr;
    QLineEdit* m_nameEdit = nullptr;
    QRadioButton* m_hierarchicalRadio = nullptr;
    QRadioButton* m_calculatedRadio = nullptr;
    QRadioButton* m_fulltextRadio = nullptr;
    QCheckBox* m_uniqueBox = nullptr;
    QListWidget* m_availableList = nullptr;
    QListWidget* m_keyList = nullptr;
    QPushButton* m_insertBtn = nullptr;
    QPushButton* m_deleteBtn = nullptr;
    QPushButton* m_deleteAllBtn = nullptr;
    QPushButton* m_upBtn = nullptr;
    QPushButton* m_downBtn = nullptr;
    QRadioButton* m_ascendingRadio = nullptr;
    QRadioButton* m_descendingRadio = nullptr;
    QLabel* m_lengthLabel = nullptr;
    QSpinBox* m_lengthSpin = nullptr;
    QLineEdit* m_expressionEdit = nullptr;
    QLabel* m_expressionHint = nullptr;
    QListWidget* m_fulltextList = nullptr;
    QPushButton* m_checkBtn = nullptr;
    QPushButton* m_uncheckBtn = nullptr;
    QSpinBox* m_relevanceSpin = nullptr;
    QComboBox* m_dictionaryBox = nullptr;
    QLabel* m_separatorsLabel = nullptr;
    QLineEdit* m_separatorsEdit = nullptr;
    QGroupBox* m_newDictionaryGroup = nullptr;
    QLabel* m_dicNameLabel = nullptr;
    QLineEdit* m_dicNameEdit = nullptr;
    QLabel* m_keywordLabel = nullptr;
    QSpinBox* m_keywordSpin = nullptr;
    QLabel* m_dicEncryptionLabel = nullptr;
    QComboBox* m_dicEncryptionBox = nullptr;
    QPushButton* m_dicKeyBtn = nullptr;
    QComboBox* m_capacityBox = nullptr;
    QPushButton* m_okBtn = nullptr;
    QPushButton* m_cancelBtn = nullptr;
};
