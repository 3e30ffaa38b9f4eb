#include "common/ostdialogservice.h"

#include "common/ostcentermessagebox.h"

#include <QFileDialog>
#include <QInputDialog>
#include <QPointer>

namespace {

IOstDialogService* g_installed = nullptr;
QString g_defaultFolder;

QString StartFolder(const QString& folder) { return folder.isEmpty() ? g_defaultFolder : folder; }

// Runs a dialog modally and tells whether it was accepted. The dialog may be
// destroyed with its owner while it runs; then it counts as cancelled.
template <class Dialog, class ReadOut> bool RunModal(Dialog* dialog, ReadOut readOut) {
    QPointer<Dialog> guard(dialog);
    const bool accepted = dialog->exec() == QDialog::Accepted;
    if (!guard)
        return false;
    if (accepted)
        readOut(*dialog);
    delete dialog;
    return accepted;
}

QFileDialog* NewFileDialog(QWidget* owner, const QString& caption, const QString& filter, const QString& initialDir,
                           const QString& fileName) {
    auto* dialog = new QFileDialog(owner, caption, StartFolder(initialDir));
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setOption(QFileDialog::HideNameFilterDetails);
    const QStringList nameFilters = FileDialogNameFilters(filter);
    if (!nameFilters.isEmpty())
        dialog->setNameFilters(nameFilters);
    if (!fileName.isEmpty())
        dialog->selectFile(fileName);
    return dialog;
}

QString FirstSelected(const QFileDialog& dialog) {
    const QStringList files = dialog.selectedFiles();
    return files.isEmpty() ? QString() : files.first();
}

} // namespace

IOstDialogService& OstDialogs() {
    static TQtDialogService real;
    return g_installed ? *g_installed : real;
}

IOstDialogService* SetOstDialogService(IOstDialogService* service) {
    IOstDialogService* previous = g_installed;
    g_installed = service;
    return previous;
}

void SetDefaultDialogFolder(const QString& folder) { g_defaultFolder = folder; }

QString DefaultDialogFolder() { return g_defaultFolder; }

bool IOstDialogService::OpenExistingFileName(QWidget* owner, const QString& caption, const QString& filter,
                                             const QString& defaultSuffix, const QString& initialDir, QString& fileName) {
    Q_UNUSED(defaultSuffix)
    return OpenFileName(owner, caption, filter, initialDir, fileName);
}

bool IOstDialogService::ChooseItem(QWidget* owner, const QString& caption, const QString& label,
                                   const QStringList& items, QString& item) {
    QString text = item;
    if (!PromptText(owner, caption, label, text) || !items.contains(text))
        return false;
    item = text;
    return true;
}

QStringList FileDialogNameFilters(const QString& filter) {
    QStringList result;
    if (filter.isEmpty())
        return result;
    const QStringList parts = filter.split(QLatin1Char('|'));
    for (qsizetype i = 0; i < parts.size(); i += 2) {
        QString patterns = i + 1 < parts.size() ? parts[i + 1] : QString();
        patterns = patterns.split(QLatin1Char(';'), Qt::SkipEmptyParts).join(QLatin1Char(' ')).trimmed();
        if (patterns.isEmpty())
            patterns = QStringLiteral("*");
        result << QStringLiteral("%1 (%2)").arg(parts[i], patterns);
    }
    return result;
}

int TQtDialogService::MessageBox(QWidget* owner, const QString& caption, const QString& text,
                                 QMessageBox::Icon icon, QMessageBox::StandardButtons buttons) {
    return ShowCenteredMessage(owner, caption, text, icon, buttons);
}

bool TQtDialogService::SelectDirectory(QWidget* owner, const QString& caption, QString& dir) {
    auto* dialog = new QFileDialog(owner, caption);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setFileMode(QFileDialog::Directory);
    if (!StartFolder(dir).isEmpty())
        dialog->setDirectory(StartFolder(dir));
    return RunModal(dialog, [&](const QFileDialog& d) { dir = FirstSelected(d); });
}

bool TQtDialogService::OpenFileName(QWidget* owner, const QString& caption, const QString& filter,
                                    const QString& initialDir, QString& fileName) {
    QFileDialog* dialog = NewFileDialog(owner, caption, filter, initialDir, fileName);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::AnyFile);
    return RunModal(dialog, [&](const QFileDialog& d) { fileName = FirstSelected(d); });
}

bool TQtDialogService::SaveFileName(QWidget* owner, const QString& caption, const QString& filter,
                                    const QString& defaultSuffix, const QString& initialDir, QString& fileName) {
    QFileDialog* dialog = NewFileDialog(owner, caption, filter, initialDir, fileName);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setOption(QFileDialog::DontConfirmOverwrite);
    dialog->setDefaultSuffix(defaultSuffix);
    return RunModal(dialog, [&](const QFileDialog& d) { fileName = FirstSelected(d); });
}

bool TQtDialogService::OpenExistingFileName(QWidget* owner, const QString& caption, const QString& filter,
                                            const QString& defaultSuffix, const QString& initialDir, QString& fileName) {
    QFileDialog* dialog = NewFileDialog(owner, caption, filter, initialDir, fileName);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setDefaultSuffix(defaultSuffix);
    return RunModal(dialog, [&](const QFileDialog& d) { fileName = FirstSelected(d); });
}

bool TQtDialogService::PromptText(QWidget* owner, const QString& caption, const QString& label, QString& text) {
    auto* dialog = new QInputDialog(owner);
    dialog->setWindowTitle(caption);
    dialog->setLabelText(label);
    dialog->setInputMode(QInputDialog::TextInput);
    dialog->setTextValue(text);
    return RunModal(dialog, [&](const QInputDialog& d) { text = d.textValue(); });
}

bool TQtDialogService::ChooseItem(QWidget* owner, const QString& caption, const QString& label,
                                  const QStringList& items, QString& item) {
    auto* dialog = new QInputDialog(owner);
    dialog->setWindowTitle(caption);
    dialog->setLabelText(label);
    dialog->setComboBoxItems(items);
    dialog->setComboBoxEditable(false);
    if (items.contains(item))
        dialog->setTextValue(item);
    return RunModal(dialog, [&](const QInputDialog& d) { item = d.textValue(); });
}
