// "Set Filter": builds a filter expression for a dataset from a tree of
// conditions joined by connectives, or takes one typed directly. The state
// and every move of the tree live in TOstFilterCore; this form shows them.
//
// Order of use: create, SetOstDataset, optionally SetQlxDialogStyle and
// SetFilterText, exec(); on Accepted read GetFilterText.
#pragma once

#include "query/core/ostfiltercore.h"

#include <QDialog>

class QAction;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDateTimeEdit;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QTabWidget;
class QToolBar;
class QTreeWidget;
class QTreeWidgetItem;

class TOstFilterDialog : public QDialog {
    Q_OBJECT
public:
    explicit TOstFilterDialog(QWidget* parent = nullptr);
    ~TOstFilterDialog() override;

    void SetOstDataset(TOstDataSet* dataSet);
    void SetFilterText(const QString& text);
    QString GetFilterText() const;
    void SetQlxDialogStyle(bool on);

    // What the extended style offers the caller: 0 select the first match,
    // 1 mark the found records, 2 add them to the marks, 3 remove them.
    int FoundAction() const;
    bool RestrictToMatches() const;

    TOstFilterCore& Core() { return m_core; }
    // The tree's item of a node, or nullptr.
    QTreeWidgetItem* ItemOf(const TFilterNode* node) const;

    // ---- controls, for tests
    QTabWidget* PageControl() const { return m_pages; }
    QTreeWidget* ConditionTreeView() const { return m_tree; }
    QComboBox* JunctionComboBox() const { return m_junction; }
    QComboBox* FieldComboBox() const { return m_field; }
    QComboBox* OperatorComboBox() const { return m_operator; }
    QLineEdit* ValueEdit() const { return m_valueEdit; }
    QSpinBox* ValueSpinEdit() const { return m_valueSpin; }
    QDateTimeEdit* ValueDatePicker() const { return m_valuePicker; }
    QPushButton* UpdateConditionBtn() const { return m_updateBtn; }
    QPlainTextEdit* ConditionMemo() const { return m_memo; }
    QCheckBox* DirectInputCheckBox() const { return m_directInput; }
    QPushButton* TestBtn() const { return m_testBtn; }
    QLabel* TestResultLabel() const { return m_testResult; }
    QGroupBox* ActionRadioGroup() const { return m_actionGroup; }
    QCheckBox* RestrictCheckBox() const { return m_restrict; }
    QAction* AddAct() const { return m_addAct; }
    QAction* DeleteAct() const { return m_deleteAct; }
    QAction* IndentRightAct() const { return m_indentRightAct; }
    QAction* IndentLeftAct() const { return m_indentLeftAct; }
    QAction* MoveUpAct() const { return m_moveUpAct; }
    QAction* MoveDownAct() const { return m_moveDownAct; }

public slots:
    void AddActExecute();
    void DeleteActExecute();
    void IndentRightActExecute();
    void IndentLeftActExecute();
    void MoveUpActExecute();
    void MoveDownActExecute();
    void UpdateConditionBtnClick();
    void DirectInputCheckBoxClick();
    // Counts the records the condition selects; a condition that does not
    // parse is explained and the memo's cursor put where the problem is.
    void TestBtnClick();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void FieldComboBoxChange();
    void ConditionTreeViewChange();
    void PageControlChange(int index);
    // Shows one value editor for the type group and hides the others.
    void ShowValueEditor(int dataType);
    QVariant EditorValue() const;
    void SetEditorValue(const QVariant& value);
    void RefreshTree();
    void ActionsUpdate();
    void ArrangeControls();

    TOstFilterCore m_core;
    bool m_filling = false;
    QWidget* m_visibleEditor = nullptr;

    QTabWidget* m_pages = nullptr;
    QWidget* m_wizardPage = nullptr;
    QTreeWidget* m_tree = nullptr;
    QToolBar* m_toolBar = nullptr;
    QComboBox* m_junction = nullptr;
    QComboBox* m_field = nullptr;
    QComboBox* m_operator = nullptr;
    QLineEdit* m_valueEdit = nullptr;
    QSpinBox* m_valueSpin = nullptr;
    QDateTimeEdit* m_valuePicker = nullptr;
    QPushButton* m_updateBtn = nullptr;
    QPlainTextEdit* m_memo = nullptr;
    QCheckBox* m_directInput = nullptr;
    QPushButton* m_testBtn = nullptr;
    QLabel* m_testResult = nullptr;
    QGroupBox* m_actionGroup = nullptr;
    QButtonGroup* m_actionButtons = nullptr;
    QCheckBox* m_restrict = nullptr;
    QAction* m_addAct = nullptr;
    QAction* m_deleteAct = nullptr;
    QAction* m_indentRightAct = nullptr;
    QAction* m_indentLeftAct = nullptr;
    QAction* m_moveUpAct = nullptr;
    QAction* m_moveDownAct = nullptr;
};
