// The password change: a new password entered twice for a table that the
// table designer protects or encrypts. The entry must suit the encryption
// method (six characters at least; the method "Classic" takes a password, a
// semicolon and a numeric key), and "OK" is offered only once the second
// entry repeats the first.
#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

class TOstPasswordChangeDialog : public QDialog {
    Q_OBJECT
public:
    explicit TOstPasswordChangeDialog(QWidget* parent = nullptr);

    // Stores the method and shows or hides the note that goes with it.
    void SetEncryptionMethod(int method);
    int EncryptionMethod() const { return m_method; }
    // Whether text is an acceptable first entry for the stored method.
    bool IsValidKey(const QString& text) const;
    // What the caller reads after "OK".
    QString Password() const;

    QLineEdit* PasswordEdit() const { return m_password; }
    QLineEdit* ConfirmEdit() const { return m_confirm; }
    QLabel* NoteLabel() const { return m_note; }
    QPushButton* OkButton() const { return m_ok; }
    QPushButton* CancelButton() const { return m_cancel; }

    // What the second box holds while it is disabled: masked characters that
    // never count as a repetition.
    static QString FillerText();

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // The two-entry rules: second box, its filler, "OK".
    void UpdateConfirmation();

    int m_method = 1;
    bool m_holdsFiller = false;
    bool m_updating = false;
    QLineEdit* m_password;
    QLineEdit* m_confirm;
    QLabel* m_note;
    QPushButton* m_ok;
    QPushButton* m_cancel;
};
