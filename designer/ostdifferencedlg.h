// The list of modifications a table designer is about to apply, shown for
// confirmation: one row per difference between the edited definitions and
// the table, with the column position it concerns.
#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class QTreeWidget;
class TModifications;

class TTableStructureDifferenceDlg : public QDialog {
    Q_OBJECT
public:
    explicit TTableStructureDifferenceDlg(QWidget* parent = nullptr);

    // One row per modification in list order; one row "No changes to table
    // structure" with an empty column when there is none.
    void SetModifications(const TModifications& list);

    QLabel* Label() const { return m_label; }
    QTreeWidget* ListView() const { return m_list; }
    QPushButton* OkButton() const { return m_ok; }
    QPushButton* CancelButton() const { return m_cancel; }

    // Shows list for owner, in owner's font and centred on it, modally; true
    // when the user pressed "&Ok".
    static bool Execute(QWidget* owner, const TModifications& list);

private:
    QLabel* m_label;
    QTreeWidget* m_list;
    QPushButton* m_ok;
    QPushButton* m_cancel;
};
