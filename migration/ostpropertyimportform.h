// TPropertyImportBrownieForm: carries a classic table of the same module over
// to an engine table. The user picks the source table, the new table's name,
// database and level, and whether its records are copied; Import creates the
// table with the source's columns and indexes, copies the records with a
// progress bar (Cancel stops the copy and leaves nothing behind), and then
// points the engine table at the new table with the source's properties and
// event handlers.
#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class TOstTable;
class TTable;

class TPropertyImportBrownieForm : public QDialog {
    Q_OBJECT
public:
    explicit TPropertyImportBrownieForm(QWidget* parent = nullptr);
    ~TPropertyImportBrownieForm() override;

    // The engine table the import is for; lists the classic tables of its owner.
    void SetTable(TOstTable* table);
    TOstTable* Table() const { return m_table; }

    QComboBox* SourceCombo() const { return m_source; }
    QLineEdit* TableNameEdit() const { return m_tableName; }
    QComboBox* DatabaseCombo() const { return m_database; }
    QComboBox* LevelCombo() const { return m_level; }
    QCheckBox* CopyDataCheck() const { return m_copyData; }
    QCheckBox* AbortOnProblemCheck() const { return m_abortOnProblem; }
    QProgressBar* ProgressBar() const { return m_progress; }
    QLabel* StatusLabel() const { return m_status; }
    QPushButton* ImportBtn() const { return m_import; }
    QPushButton* CancelBtn() const { return m_cancel; }
    bool Running() const { return m_running; }

public slots:
    void reject() override;

private slots:
    void SourceComboChange();
    void ImportBtnClick();

private:
    TTable* SelectedSource() const;
    void SetRunning(bool running);

    TOstTable* m_table = nullptr;
    QComboBox *m_source, *m_database, *m_level;
    QLineEdit* m_tableName;
    QCheckBox *m_copyData, *m_abortOnProblem;
    QProgressBar* m_progress;
    QLabel* m_status;
    QPushButton *m_import, *m_cancel;
    bool m_running = false, m_cancelRequested = false;
};
