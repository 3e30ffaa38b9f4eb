// The table assistant: picks an existing table ("Select Table...") or names
// a new one ("New Table...") for a table component. The user chooses a
// database component, or a bare location (a database file or a folder of
// table files) that the assistant's placeholder database stands for, and a
// table name. The state and rules live in TTableAssistantCore.
//
// Order of use: create, SetDialogType, SetOstTable, exec(); on Accepted read
// ResultDatabase and ResultTableName. A ResultDatabase named " " is the
// placeholder: its Location is the path, and it lives as long as the dialog.
#pragma once

#include "setup/core/ostcreatetablecore.h"

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QToolButton;
class TOstDatabase;
class TOstTable;

class TTableAssistantDlg : public QDialog {
    Q_OBJECT
public:
    explicit TTableAssistantDlg(QWidget* parent = nullptr);
    ~TTableAssistantDlg() override;

    void SetDialogType(TTableDialogType type);
    // Starts on the table's database; an error reaching it is shown.
    void SetOstTable(TOstTable* table);
    TOstDatabase* ResultDatabase() const { return m_core.ResultDatabase(); }
    QString ResultTableName() const { return m_core.ResultTableName(); }
    bool IsDirectoryBasedTable() const { return m_core.IsDirectoryBasedTable(); }
    // The user agreed to overwrite the existing table of that name.
    bool OverwriteConfirmed() const { return m_overwrite; }
    TTableAssistantCore& Core() { return m_core; }

    // ---- handlers
    void UpdateDBItems();
    void DBComboBoxChange();
    void SetCurrentDatabase(TOstDatabase* db);
    void UpdateTableEntries();
    void TableNameChanged(const QString& text);
    void SetNewTableName(const QString& name);
    void SelectBtnClick();
    void SingleFileDBItemClick();
    void DirectoryDBItemClick();
    void SelectLocationClick();
    void FormCloseQuery(bool& canClose);

    // ---- controls
    QComboBox* DBComboBox() const { return m_dbCombo; }
    QLabel* DatabasesLabel() const { return m_databasesLabel; }
    QLabel* LocationLabel() const { return m_location; }
    QLineEdit* TableNameEdit() const { return m_tableNameEdit; }
    QComboBox* TableNamesComboBox() const { return m_tableNames; }
    QToolButton* SelectBtn() const { return m_selectBtn; }
    QToolButton* SelectLocationBtn() const { return m_selectLocationBtn; }
    QMenu* LocationMenu() const { return m_locationMenu; }
    QPushButton* OKBtn() const { return m_ok; }
    QPushButton* CancelBtn() const { return m_cancel; }

    void done(int result) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    // Runs f; an engine error it raises is shown in an "Error" box.
    template <class F> bool Guarded(F&& f);
    void ShowLocation();
    void WriteTableNameControls(const QString& text);

    TTableAssistantCore m_core;
    bool m_overwrite = false;
    QString m_locationText;
    QComboBox* m_dbCombo;
    QLabel* m_databasesLabel;
    QLabel* m_location;
    QLabel* m_tableLabel;
    QLineEdit* m_tableNameEdit;
    QComboBox* m_tableNames;
    QToolButton* m_selectBtn;
    QToolButton* m_selectLocationBtn;
    QMenu* m_locationMenu;
    QPushButton* m_ok;
    QPushButton* m_cancel;
};
