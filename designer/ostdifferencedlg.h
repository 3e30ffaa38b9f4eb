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
    // Notes below the list on what the changes do to existing rows (a new
    // Cascade rule); hidden when there are none.
    void SetNotes(const QStringList& notes);

    QLabel* Label() const { return m_label; }
    QLabel* NotesLabel() const { return m_notes; }
    QTreeWidget* ListView() const { return m_list; }
    QPushButton* OkButton() const { return m_ok; }
    QPushButton* CancelButton() const { return m_cancel; }

    // Shows list for owner, in owner's font and centred on it, modally; true
    // when the user pressed "&Ok".
    static bool Execute(QWidget* owner, const TModifications& list, const QStringList& notes = {});

private:
    QLabel* m_label;
    QTreeWidget* m_list;
    QLabel* m_notes;
    QPushButton* m_ok;
    QPushButton* m_cancel;
};
