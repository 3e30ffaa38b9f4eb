// Pointing at a database: a file chooser for database files and data
// sources, the same chooser that also takes a folder, and the "Select
// Database" dialog that adds the open mode. Locations are what the database
// component takes: a file name, or a folder with a trailing delimiter.
#pragma once

#include "setup/core/ostselectdbcore.h"

#include <QDialog>

class QCheckBox;
class QLineEdit;
class QPushButton;
class QToolButton;

// "Select Database", starting in initialDir: on acceptance location is the
// chosen file, or for a table file or an ".sql" file its folder; on cancel it
// is left as given (callers pass it empty and take empty as cancelled).
void SelectDatabase(const QString& initialDir, QString& location);
// "Select Ostra data source", preset to "(Select Folder)": accepting that
// entry gives the folder the chooser was in.
void SelectFileOrFolder(const QString& initialDir, QString& location);

class TSelectDBDialog : public QDialog {
    Q_OBJECT
public:
    explicit TSelectDBDialog(QWidget* parent = nullptr);

    QString Location() const { return m_location; }
    void SetLocation(const QString& location);
    bool ReadOnly() const;
    void SetReadOnly(bool value);
    bool Exclusive() const;
    void SetExclusive(bool value);

    // "...": SelectDatabase from the current location.
    void SelectBtnClick();

    QLineEdit* LocationEdit() const { return m_edit; }
    QToolButton* SelectBtn() const { return m_select; }
    QCheckBox* ReadOnlyCheck() const { return m_readOnly; }
    QCheckBox* ExclusiveCheck() const { return m_exclusive; }
    QPushButton* OKBtn() const { return m_ok; }

private:
    QString m_location;
    QLineEdit* m_edit;
    QToolButton* m_select;
    QCheckBox* m_readOnly;
    QCheckBox* m_exclusive;
    QPushButton* m_ok;
};

// Shows TSelectDBDialog with the three values; true on "OK", which writes
// them back; false and nothing changed on cancel.
bool ChooseDatabase(QString& location, bool& readOnly, bool& exclusive);
