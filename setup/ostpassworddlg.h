// The password request: asks for the password of an encrypted table or
// database whenever the engine needs one at design time. Loading the package
// installs it as the engine's global password handler.
#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;
class QObject;

class TOstPasswordDlg : public QDialog {
    Q_OBJECT
public:
    explicit TOstPasswordDlg(QWidget* parent = nullptr);

    // Shows tableName in the read-only box, empties the password box and runs
    // the dialog; on "Ok" (result 1) password takes what was typed.
    int Execute(const QString& tableName, QString& password);

    QLineEdit* TableNameEdit() const { return m_tableName; }
    QLineEdit* PasswordEdit() const { return m_password; }
    QPushButton* OkButton() const { return m_ok; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    QLineEdit* m_tableName;
    QLineEdit* m_password;
    QPushButton* m_ok;
};

// Runs a request dialog for tableName; true when the user pressed "Ok", and
// password then holds the entry. password is left alone otherwise.
bool EnterOstTablePassword(const QString& tableName, QString& password);

// Owns the handler the engine calls; the package keeps one while it is loaded.
class TPasswordRequester {
public:
    // retry: whether the engine should try again with password.
    void OnPassword(QObject* sender, const QString& tableName, QString& password, bool& retry);
};

// The requester installed when the package was loaded, or nullptr.
TPasswordRequester* InstalledPasswordRequester();
