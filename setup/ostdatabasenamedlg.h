// "Database Name": the names of the database components that exist, or a
// location browsed for instead. The dataset's DatabaseName editor opens it.
#pragma once

#include <QDialog>

class QComboBox;
class QPushButton;
class QToolButton;

class TDatabaseNameDlg : public QDialog {
    Q_OBJECT
public:
    // Lists the DatabaseName of every database component, in the engine's
    // order, without empty ones, and selects the first.
    explicit TDatabaseNameDlg(QWidget* parent = nullptr);

    // The name box's text.
    QString GetDatabaseName() const;
    // Selects the equal entry, or adds a name that is not listed (and not
    // empty) and shows it.
    void SetDatabaseName(const QString& name);

    // "...": SelectDatabase without a starting folder.
    void SelectBtnClick();

    QComboBox* NameBox() const { return m_names; }
    QToolButton* SelectBtn() const { return m_select; }
    QPushButton* OKBtn() const { return m_ok; }

private:
    QComboBox* m_names;
    QToolButton* m_select;
    QPushButton* m_ok;
};
