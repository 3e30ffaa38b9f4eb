// TQueryImportBrownieFrm: carries a classic query of the same module over to
// an engine query: "&Ok" copies its SQL, parameters, properties and event
// handlers, then asks the user to check the SQL before the query is opened.
#pragma once

#include <QDialog>

class QComboBox;
class QPlainTextEdit;
class QPushButton;
class TOstQuery;
class TQuery;

class TQueryImportBrownieFrm : public QDialog {
    Q_OBJECT
public:
    explicit TQueryImportBrownieFrm(QWidget* parent = nullptr);
    ~TQueryImportBrownieFrm() override;

    // The engine query the import is for (set before the form is shown).
    TOstQuery* TargetQuery = nullptr;

    QComboBox* SourceCombo() const { return m_source; }
    QPlainTextEdit* SqlView() const { return m_sql; }
    QPushButton* OkBtn() const { return m_ok; }
    QPushButton* CancelBtn() const { return m_cancel; }

protected:
    void showEvent(QShowEvent* event) override;

private slots:
    void SourceComboChange();
    void OkBtnClick();

private:
    TQuery* SelectedSource() const;
    QComboBox* m_source;
    QPlainTextEdit* m_sql;
    QPushButton *m_ok, *m_cancel;
};
