#include "ide/osttableeditor.h"

#include "common/ostdialogservice.h"
#include "designer/osttabledesigner.h"
#include "engine/ostdataset.h"
#include "migration/core/classicdataset.h"
#include "migration/ostpropertyimportform.h"
#include "studio/designintf/designer.h"

#include <QAction>
#include <QApplication>
#include <QGuiApplication>
#include <QScreen>

namespace {

enum TOwnVerb { ovSeparator, ovNewTable, ovSelectTable, ovProperties, ovConvertBde, ovCount };

// PrepareItem decides the enabled state itself up to this own index.
constexpr int kLastPreparedVerb = 6;

QString OwnVerb(int index) {
    switch (index) {
    case ovSeparator:
        return QStringLiteral("-");
    case ovNewTable:
        return QStringLiteral("New Table...");
    case ovSelectTable:
        return QStringLiteral("Select Table...");
    case ovProperties:
        return QStringLiteral("Properties...");
    case ovConvertBde:
        return QStringLiteral("Convert BDE Table...");
    default:
        return QString();
    }
}

// A plain message box, as the environment shows one.
void ShowMessage(const QString& text) {
    OstDialogs().MessageBox(nullptr, QApplication::applicationDisplayName(), text, QMessageBox::NoIcon,
                            QMessageBox::Ok);
}

// The name with its last extension replaced by nothing.
QString WithoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    const qsizetype folder = qMax(name.lastIndexOf(u'/'), name.lastIndexOf(u'\\'));
    return dot > folder ? name.left(dot) : name;
}

// Whether the component is a classic table (of Qt SQL), the source a conversion reads.
bool IsBdeTable(const TComponent* c) { return qobject_cast<const TTable*>(c) != nullptr; }

void CenterOnScreen(QWidget* w) {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) return;
    QRect r(QPoint(), w->size());
    r.moveCenter(screen->availableGeometry().center());
    w->move(r.topLeft());
}

// Tells the designer of the change on every way out of a verb.
class TModifiedOnExit {
public:
    explicit TModifiedOnExit(IDesigner* designer) : m_designer(designer) {}
    ~TModifiedOnExit() {
        if (m_designer) m_designer->Modified();
    }

private:
    IDesigner* m_designer;
};

} // namespace

TOstTable* TOstTableEditor::Table() const {
    return qobject_cast<TOstTable*>(Component());
}

TOstDatabase* TOstDatabaseEditor::Database() const {
    return qobject_cast<TOstDatabase*>(Component());
}

int TOstTableEditor::GetVerbCount() const {
    return TDataSetEditor::GetVerbCount() + ovCount;
}

QString TOstTableEditor::GetVerb(int index) const {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own < 0) return TDataSetEditor::GetVerb(index);
    if (own >= ovCount) BadVerb(index);
    return OwnVerb(own);
}

void TOstTableEditor::ExecuteVerb(int index) {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own >= ovCount) BadVerb(index);
    TModifiedOnExit modified(Designer());
    switch (own) {
    case ovSeparator:
        break;
    case ovNewTable:
        CreateNewTable();
        break;
    case ovSelectTable:
        SelectTable();
        break;
    case ovProperties:
        RestructureTable(false);
        break;
    case ovConvertBde:
        ImportTableProperties();
        break;
    default:
        TDataSetEditor::ExecuteVerb(index);
        break;
    }
}

void TOstTableEditor::PrepareItem(int index, QAction* action) {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own <= kLastPreparedVerb)
        action->setEnabled(CanEnableMenuItem(own));
    else
        TDataSetEditor::PrepareItem(index, action);
}

bool TOstTableEditor::CanEnableMenuItem(int index) const {
    TOstTable* table = Table();
    switch (index) {
    case ovProperties:
        return table && table->Active();
    case ovConvertBde: {
        bool found = false;
        if (table && table->Owner())
            for (const TComponent* c : table->Owner()->Components())
                if (IsBdeTable(c)) found = true;
        return found;
    }
    default:
        return true;
    }
}

void TOstTableEditor::CreateNewTable() {
    TOstTable* table = Table();
    if (!table) return;
    if (table->Active()) table->Close();
    QString name = table->GetTableName();
    if (!OstDialogs().PromptText(nullptr, QStringLiteral("New Table"), QStringLiteral("Table name"), name))
        return;
    table->SetTableName(WithoutExtension(name.trimmed()));
    table->GetFieldDefsOst().Clear();
    if (RestructureTable(true)) table->Open();
}

void TOstTableEditor::SelectTable() {
    TOstTable* table = Table();
    if (!table) return;
    try {
        QStringList names;
        if (TOstDatabase* db = table->GetDatabase()) db->GetTableNames(names);
        QString name = table->GetTableName();
        if (!OstDialogs().ChooseItem(nullptr, QStringLiteral("Select Table"), QStringLiteral("Table name"),
                                     names, name))
            return;
        if (table->Active()) table->Close();
        table->SetTableName(name);
        table->Open();
    } catch (const Exception& e) {
        ShowMessage(e.Message());
    }
}

bool TOstTableEditor::RestructureTable(bool newTable) {
    TOstTable* table = Table();
    const bool mayOpen = table && ((newTable && !table->GetTableName().isEmpty()) || table->Active());
    if (!mayOpen) {
        ShowMessage(QStringLiteral("Cannot perform this on a closed table"));
        return false;
    }
    TOstTableDesigner designer;
    designer.SetNewTable(newTable);
    designer.SetOstDataset(table);
    CenterOnScreen(&designer);
    return designer.exec() == QDialog::Accepted;
}

void TOstTableEditor::ImportTableProperties() {
    TPropertyImportBrownieForm wizard;
    wizard.SetTable(Table());
    CenterOnScreen(&wizard);
    wizard.exec();
}
