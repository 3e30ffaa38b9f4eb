// The one way the dialogs ask the user something through a standard dialog:
// message boxes, folder and file choosers, a line of text. Code calls
// OstDialogs(); tests install a scripted service with SetOstDialogService so
// that nobody has to answer a real dialog.
#pragma once

#include <QMessageBox>
#include <QString>
#include <QStringList>

class QWidget;

class IOstDialogService {
public:
    virtual ~IOstDialogService() = default;

    // A modal message box; the result is the StandardButton pressed.
    virtual int MessageBox(QWidget* owner, const QString& caption, const QString& text, QMessageBox::Icon icon,
                           QMessageBox::StandardButtons buttons) = 0;

    // A modal folder chooser. dir holds the preselected folder on entry and
    // the chosen one after a true result; it is left alone on false.
    virtual bool SelectDirectory(QWidget* owner, const QString& caption, QString& dir) = 0;

    // Modal file choosers. filter is a list of "description|patterns" pairs
    // joined with "|", patterns separated by ";" (see FileDialogNameFilters);
    // an empty filter shows every file. The chooser starts in initialDir and
    // shows fileName; after a true result fileName holds the chosen file with
    // its full path, after false it is left alone. The opened file need not
    // exist. defaultSuffix (without a dot) is added to a saved name that has
    // no suffix; an existing file is not confirmed before it is overwritten.
    virtual bool OpenFileName(QWidget* owner, const QString& caption, const QString& filter,
                              const QString& initialDir, QString& fileName) = 0;
    virtual bool SaveFileName(QWidget* owner, const QString& caption, const QString& filter,
                              const QString& defaultSuffix, const QString& initialDir, QString& fileName) = 0;
    // A file chooser that accepts only a file that exists; defaultSuffix is
    // added to a typed name without one. By default the plain OpenFileName.
    virtual bool OpenExistingFileName(QWidget* owner, const QString& caption, const QString& filter,
                                      const QString& defaultSuffix, const QString& initialDir, QString& fileName);

    // Asks for one line of text under label; text is the start value and,
    // after a true result, the value entered.
    virtual bool PromptText(QWidget* owner, const QString& caption, const QString& label, QString& text) = 0;

    // Lets the user pick one of items (no other text) under label; item is
    // the preselected entry and, after a true result, the one chosen. A
    // service without a list of its own asks with PromptText and accepts only
    // an answer that is one of the items.
    virtual bool ChooseItem(QWidget* owner, const QString& caption, const QString& label, const QStringList& items,
                            QString& item);
};

// The service in use: the installed one, or the one showing real dialogs.
IOstDialogService& OstDialogs();

// Where the real choosers start when the caller gives no folder (the
// Studio sets the folder of the module it shows); empty: the process's
// working folder.
void SetDefaultDialogFolder(const QString& folder);
QString DefaultDialogFolder();

// Installs service (not owned; nullptr restores the real dialogs) and
// returns the one installed before (nullptr for the real dialogs).
IOstDialogService* SetOstDialogService(IOstDialogService* service);

// Installs a service for the lifetime of the object and then restores the
// previous one.
class TScopedDialogService {
public:
    explicit TScopedDialogService(IOstDialogService* service) : m_previous(SetOstDialogService(service)) {}
    ~TScopedDialogService() { SetOstDialogService(m_previous); }
    TScopedDialogService(const TScopedDialogService&) = delete;
    TScopedDialogService& operator=(const TScopedDialogService&) = delete;

private:
    IOstDialogService* m_previous;
};

// The real dialogs: message boxes centred over their owner
// (ShowCenteredMessage) and Qt's own file dialogs, never the platform's, so
// that they behave the same everywhere, offscreen included.
class TQtDialogService : public IOstDialogService {
public:
    int MessageBox(QWidget* owner, const QString& caption, const QString& text, QMessageBox::Icon icon,
                   QMessageBox::StandardButtons buttons) override;
    bool SelectDirectory(QWidget* owner, const QString& caption, QString& dir) override;
    bool OpenFileName(QWidget* owner, const QString& caption, const QString& filter, const QString& initialDir,
                      QString& fileName) override;
    bool SaveFileName(QWidget* owner, const QString& caption, const QString& filter, const QString& defaultSuffix,
                      const QString& initialDir, QString& fileName) override;
    bool OpenExistingFileName(QWidget* owner, const QString& caption, const QString& filter, const QString& defaultSuffix,
                              const QString& initialDir, QString& fileName) override;
    bool PromptText(QWidget* owner, const QString& caption, const QString& label, QString& text) override;
    bool ChooseItem(QWidget* owner, const QString& caption, const QString& label, const QStringList& items,
                    QString& item) override;
};

// Turns "Ostra Database File (*.ostd)|*.ostd|All|*" into the name filters of
// a QFileDialog: {"Ostra Database File (*.ostd) (*.ostd)", "All (*)"}. The
// dialogs hide the appended pattern list, so the user sees each description
// exactly as written. A description without patterns gets "*".
QStringList FileDialogNameFilters(const QString& filter);
