#include "studio/propertygrid.h"

#include "engine/base/tcomponent.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/designintf/propertyeditor.h"
#include "studio/studioutils.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>
#include <functional>

namespace {

// Asks for its values when its list opens: some lists (the tables of a
// database, the columns of a dataset) cost a look at the database.
class TValueCombo : public QComboBox {
public:
    TValueCombo(QWidget* parent, std::function<void()> fill) : QComboBox(parent), m_fill(std::move(fill)) {}
    void showPopup() override {
        if (m_fill) m_fill();
        QComboBox::showPopup();
    }

private:
    std::function<void()> m_fill;
};

} // namespace

struct TObjectInspector::TRow {
    std::unique_ptr<TPropertyEditor> editor;
    QString name;
    QLineEdit* edit = nullptr;   // the text of a line edit or an editable combo box
    QComboBox* combo = nullptr;
    QToolButton* button = nullptr;
    bool closedList = false;
};

TObjectInspector::TObjectInspector(QWidget* parent) : QWidget(parent) {
    m_caption = new QLabel(this);
    m_caption->setObjectName(QStringLiteral("caption"));
    m_caption->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont bold = m_caption->font();
    bold.setBold(true);
    m_caption->setFont(bold);
    m_scroll = new QScrollArea(this);
    m_scroll->setWidgetResizable(true);
    m_scroll->setFrameShape(QFrame::NoFrame);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addWidget(m_caption);
    layout->addWidget(m_scroll, 1);
    Rebuild();
}

TObjectInspector::~TObjectInspector() {
    // The rows' widgets go with the scroll area; nothing of theirs may reach a row after this.
    if (QWidget* w = m_scroll->widget()) w->disconnect(this);
    for (const auto& row : m_rows)
        for (QObject* o : {static_cast<QObject*>(row->edit), static_cast<QObject*>(row->combo), static_cast<QObject*>(row->button)})
            if (o) o->disconnect(this);
}

void TObjectInspector::SetDesigner(IDesigner* designer) {
    if (m_designer == designer) return;
    if (m_designer) disconnect(m_designer, nullptr, this, nullptr);
    m_designer = designer;
    if (m_designer) {
        connect(m_designer, &IDesigner::selectionChanged, this, &TObjectInspector::Rebuild);
        connect(m_designer, &IDesigner::propertyChanged, this, &TObjectInspector::RefreshValues);
        connect(m_designer, &IDesigner::componentsChanged, this, &TObjectInspector::RefreshValues);
    }
    Rebuild();
}

QString TObjectInspector::Caption() const { return m_caption->text(); }

QStringList TObjectInspector::PropertyNames() const {
    QStringList names;
    for (const auto& row : m_rows) names.append(row->name);
    return names;
}

TObjectInspector::TRow* TObjectInspector::FindRow(const QString& propertyName) const {
    for (const auto& row : m_rows)
        if (row->name == propertyName) return row.get();
    return nullptr;
}

QWidget* TObjectInspector::EditorWidget(const QString& propertyName) const {
    TRow* row = FindRow(propertyName);
    if (!row) return nullptr;
    return row->combo ? static_cast<QWidget*>(row->combo) : row->edit;
}

QToolButton* TObjectInspector::DialogButton(const QString& propertyName) const {
    TRow* row = FindRow(propertyName);
    return row ? row->button : nullptr;
}

QString TObjectInspector::RowText(const TRow& row) const {
    if (row.edit) return row.edit->text();
    return row.combo ? row.combo->currentText() : QString();
}

QString TObjectInspector::PropertyText(const QString& propertyName) const {
    TRow* row = FindRow(propertyName);
    return row ? RowText(*row) : QString();
}

QStringList TObjectInspector::PropertyValues(const QString& propertyName) {
    TRow* row = FindRow(propertyName);
    if (!row || !row->combo) return {};
    FillValues(*row);
    QStringList values;
    for (int i = 0; i < row->combo->count(); ++i) values.append(row->combo->itemText(i));
    return values;
}

bool TObjectInspector::SetPropertyText(const QString& propertyName, const QString& text) {
    TRow* row = FindRow(propertyName);
    if (!row) return false;
    if (row->edit) {
        row->edit->setText(text);
    } else if (row->combo) {
        const int index = row->combo->findText(text);
        if (index >= 0) row->combo->setCurrentIndex(index);
    }
    return Commit(*row, text);
}

void TObjectInspector::Rebuild() {
    // The old rows' widgets are deleted later (one of them may be what got us
    // here); disconnected now, they can no longer commit to a row that is gone.
    for (const auto& row : m_rows)
        for (QObject* o : {static_cast<QObject*>(row->edit), static_cast<QObject*>(row->combo), static_cast<QObject*>(row->button)})
            if (o) o->disconnect(this);
    if (QWidget* old = m_scroll->takeWidget()) old->deleteLater();
    m_rows.clear();
    ++m_generation;

    TComponent* root = m_designer ? m_designer->Root() : nullptr;
    m_shown = m_designer ? m_designer->Selection() : QList<TComponent*>();
    if (m_shown.isEmpty() && root) m_shown = {root};
    if (m_shown.isEmpty()) m_caption->clear();
    else if (m_shown.size() == 1) m_caption->setText(ComponentCaption(m_shown[0]));
    else m_caption->setText(QStringLiteral("%1 components").arg(m_shown.size()));

    auto* page = new QWidget;
    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(2, 2, 2, 2);
    grid->setVerticalSpacing(2);
    grid->setColumnStretch(1, 1);
    int line = 0;
    if (!m_shown.isEmpty()) {
        for (auto& editor : GetComponentProperties(m_designer, m_shown)) {
            auto row = std::make_unique<TRow>();
            row->name = editor->GetName();
            row->editor = std::move(editor);
            auto* label = new QLabel(row->name, page);
            label->setToolTip(QString::fromLatin1(row->editor->Property().typeName()));
            QWidget* widget = CreateEditor(*row, page);
            label->setBuddy(row->combo ? static_cast<QWidget*>(row->combo) : row->edit);
            grid->addWidget(label, line, 0);
            grid->addWidget(widget, line, 1);
            ++line;
            ShowValue(*row, true);
            m_rows.push_back(std::move(row));
        }
    }
    grid->setRowStretch(line, 1);
    m_scroll->setWidget(page);
}

QWidget* TObjectInspector::CreateEditor(TRow& row, QWidget* parent) {
    TRow* r = &row; // rows live on the heap until the next rebuild disconnects their widgets
    const TPropertyAttributes attributes = row.editor->GetAttributes();
    const bool readOnly = attributes & paReadOnly;
    QWidget* widget = nullptr;
    if (attributes & paValueList) {
        row.closedList = readOnly || dynamic_cast<TBoolProperty*>(row.editor.get()) ||
                         dynamic_cast<TEnumProperty*>(row.editor.get());
        auto* combo = new TValueCombo(parent, [this, r] { FillValues(*r); });
        row.combo = combo;
        combo->setEditable(!row.closedList);
        combo->setInsertPolicy(QComboBox::NoInsert);
        if (row.closedList) FillValues(row); // short lists that cost nothing
        if (QLineEdit* edit = combo->lineEdit()) {
            row.edit = edit;
            connect(edit, &QLineEdit::editingFinished, this, [this, r] { Commit(*r, r->edit->text()); });
        }
        connect(combo, &QComboBox::activated, this, [this, r](int index) { Commit(*r, r->combo->itemText(index)); });
        widget = combo;
    } else {
        row.edit = new QLineEdit(parent);
        row.edit->setReadOnly(readOnly);
        if (attributes & paPassword) row.edit->setEchoMode(QLineEdit::Password);
        connect(row.edit, &QLineEdit::editingFinished, this, [this, r] {
            if (!r->edit->isReadOnly()) Commit(*r, r->edit->text());
        });
        widget = row.edit;
    }
    if (!(attributes & paDialog)) return widget;
    auto* box = new QWidget(parent);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(1);
    row.button = new QToolButton(box);
    row.button->setText(QStringLiteral("..."));
    row.button->setToolTip(QStringLiteral("Edit %1").arg(row.name));
    connect(row.button, &QToolButton::clicked, this, [this, r] { OpenDialog(*r); });
    widget->setParent(box);
    layout->addWidget(widget, 1);
    layout->addWidget(row.button);
    return box;
}

void TObjectInspector::FillValues(TRow& row) {
    if (!row.combo) return;
    QStringList values;
    RunReported(this, [&] { row.editor->GetValues(values); });
    if (row.editor->GetAttributes() & paSortList) values.sort(Qt::CaseInsensitive);
    const QString text = RowText(row);
    const QSignalBlocker block(row.combo);
    row.combo->clear();
    row.combo->addItems(values);
    if (row.edit) row.edit->setText(text);
    else row.combo->setCurrentIndex(row.combo->findText(text));
}

void TObjectInspector::ShowValue(TRow& row, bool force) {
    QString value;
    try {
        value = row.editor->GetValue();
    } catch (const Exception& e) {
        value = e.Message();
    }
    if (row.edit) {
        // Leave alone what the user is typing.
        if (!force && row.edit->hasFocus() && row.edit->isModified()) return;
        const QSignalBlocker block(row.edit);
        row.edit->setText(value);
        row.edit->setModified(false);
        row.edit->setCursorPosition(0);
    } else if (row.combo) {
        const QSignalBlocker block(row.combo);
        int index = row.combo->findText(value);
        if (index < 0 && !value.isEmpty()) { // a value the list did not have when it was filled
            row.combo->addItem(value);
            index = row.combo->count() - 1;
        }
        row.combo->setCurrentIndex(index);
    }
}

void TObjectInspector::RefreshValues() {
    if (m_shown.size() == 1) m_caption->setText(ComponentCaption(m_shown[0]));
    for (const auto& row : m_rows) ShowValue(*row, false);
}

bool TObjectInspector::Commit(TRow& row, const QString& text) {
    if (m_committing) return false;
    if (text == row.editor->GetValue()) {
        ShowValue(row, true);
        return true;
    }
    m_committing = true;
    const int generation = m_generation;
    QString error;
    try {
        row.editor->SetValue(text);
    } catch (const Exception& e) {
        error = e.Message();
    } catch (const std::exception& e) {
        error = QString::fromLocal8Bit(e.what());
    }
    // The row shows what the property holds now, before any message box takes
    // the focus; unless the change brought new rows.
    if (generation == m_generation) ShowValue(row, true);
    if (!error.isEmpty()) ShowStudioError(this, error);
    m_committing = false;
    return error.isEmpty();
}

void TObjectInspector::OpenDialog(TRow& row) {
    RunReported(this, [&] { row.editor->Edit(); });
    RefreshValues();
}
