// The create database dialog: the type of a new database (one file, or a
// directory of table files), whether it keeps a catalog, where it goes, and
// for a catalogued database its encryption method and password. The database
// component editor reads the answers and lets the engine create the database
// (CreateNewDatabase).
#pragma once

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QToolButton;

class TCreateDBDialog : public QDialog {
    Q_OBJECT
public:
    explicit TCreateDBDialog(QWidget* parent = nullptr);

    // ---- answers
    // 1 (single file) when "Single-File Database" is checked, else 0.
    int GetDatabaseType() const;
    // True when "Catalog" is checked.
    bool GetManagementLevel() const;
    // The chosen method when managed, else None.
    int GetEncryptionMethod() const;
    // The password when managed, else empty.
    QString GetPassword() const;
    // The location; a single file without extension gets ".ostd".
    QString GetLocation() const;
    // Asks for a password for the chosen method; empty when cancelled.
    QString GetEncryptionKey();

    // What the caller may set for the file chooser before the dialog shows.
    void SetSaveDialogDefaults(const QString& defaultExt, const QString& filter);

    // ---- handlers
    void DatabaseTypeClick();
    void ManagementLevelClick();
    void EncryptionTypComboBoxChange();
    void EncryptionkeyBtnClick();
    void SelectLocationBtnClick();
    void FormCloseQuery(bool& canClose);

    // ---- controls
    QRadioButton* SingleFileRadio() const { return m_singleFile; }
    QRadioButton* DirectoryRadio() const { return m_directory; }
    QRadioButton* CatalogRadio() const { return m_catalog; }
    QRadioButton* NoneRadio() const { return m_none; }
    QLineEdit* LocationEdit() const { return m_locationEdit; }
    QToolButton* SelectLocationBtn() const { return m_selectLocation; }
    QComboBox* EncryptionTypComboBox() const { return m_encryption; }
    QPushButton* EncryptionkeyBtn() const { return m_keyBtn; }
    QPushButton* OKBtn() const { return m_ok; }
    QPushButton* CancelBtn() const { return m_cancel; }
    int StoredEncryptionMethod() const { return m_method; }
    QString StoredPassword() const { return m_password; }

    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    int m_method;
    QString m_password;
    QString m_saveDefaultExt, m_saveFilter;
    QRadioButton* m_singleFile;
    QRadioButton* m_directory;
    QRadioButton* m_catalog;
    QRadioButton* m_none;
    QLineEdit* m_locationEdit;
    QToolButton* m_selectLocation;
    QComboBox* m_encryption;
    QPushButton* m_keyBtn;
    QPushButton* m_ok;
    QPushButton* m_cancel;
};
