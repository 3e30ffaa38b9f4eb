// The index definition dialog: its pages, showing the core's state, and the
// General, Hierarchical, Calculated and Advanced pages' handlers. The
// Fulltext page and the new dictionary are in ostnewindexfulltext.cpp.
#include "indexdef/ostnewindexdlg.h"

#include "common/ostdialogservice.h"
#include "engine/base/sysutils.h"
#include "engine/ostdataset.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

TIndexDefinition::TIndexDefinition(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Define Index"));
    m_pages = new QTabWidget(this);
    m_generalPage = CreateGeneralPage();
    m_hierarchicalPage = CreateHierarchicalPage();
    m_calculatedPage = CreateCalculatedPage();
    m_fulltextPage = CreateFulltextPage();
    m_advancedPage = CreateAdvancedPage();
    m_generalPage->setWindowTitle(QStringLiteral("General"));
    m_hierarchicalPage->setWindowTitle(QStringLiteral("Hierarchical"));
    m_calculatedPage->setWindowTitle(QStringLiteral("Calculated"));
    m_fulltextPage->setWindowTitle(QStringLiteral("Fulltext"));
    m_advancedPage->setWindowTitle(QStringLiteral("Advanced"));
    // Every page is a child of the page control (and goes with the dialog);
    // CheckVisibleSheet keeps the tabs of those that apply.
    for (QWidget* page : {m_generalPage, m_hierarchicalPage, m_calculatedPage, m_fulltextPage, m_advancedPage})
        m_pages->addTab(page, page->windowTitle());

    m_okBtn = new QPushButton(QStringLiteral("OK"), this);
    m_okBtn->setDefault(true);
    m_cancelBtn = new QPushButton(QStringLiteral("Cancel"), this);
    connect(m_okBtn, &QPushButton::clicked, this, &TIndexDefinition::accept);
    connect(m_cancelBtn, &QPushButton::clicked, this, &TIndexDefinition::reject);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_okBtn);
    buttons->addWidget(m_cancelBtn);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pages, 1);
    layout->addLayout(buttons);
    resize(560, 470);
    ShowState();
}

// ---------------------------------------------------------------- pages

QWidget* TIndexDefinition::CreateGeneralPage() {
    auto* page = new QWidget;
    m_nameEdit = new QLineEdit;
    m_nameEdit->setObjectName(QStringLiteral("IndexNameEdit"));
    m_nameEdit->installEventFilter(this);
    connect(m_nameEdit, &QLineEdit::textEdited, this, [this](const QString& text) {
        // Pasted text follows the same rule as typed text.
        const QString name = m_core.FilterIndexName(text);
        if (name != text) {
            const int cursor = m_nameEdit->cursorPosition() - int(text.size() - name.size());
            m_nameEdit->setText(name);
            m_nameEdit->setCursorPosition(std::max(0, cursor));
        }
        m_core.IndexName = name;
    });
    auto* kind = new QGroupBox(QStringLiteral("Index Type"));
    m_hierarchicalRadio = new QRadioButton(QStringLiteral("&Hierarchical (Defined by a list of table columns)"));
    m_calculatedRadio = new QRadioButton(QStringLiteral("&Calculated (Defined by an expression)"));
    m_fulltextRadio = new QRadioButton(QStringLiteral("&Fulltext (Indexes each single word from the given fields) "));
    auto* kinds = new QVBoxLayout(kind);
    for (QRadioButton* radio : {m_hierarchicalRadio, m_calculatedRadio, m_fulltextRadio}) {
        kinds->addWidget(radio);
        connect(radio, &QRadioButton::toggled, this, [this](bool on) {
            if (on && !m_showing) CheckVisibleSheet();
        });
    }
    m_uniqueBox = new QCheckBox(QStringLiteral("Entries must be unique"));
    connect(m_uniqueBox, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_showing) m_core.Unique = on;
    });
    auto* layout = new QVBoxLayout(page);
    auto* nameRow = new QHBoxLayout;
    auto* nameLabel = new QLabel(QStringLiteral("Index Name"));
    nameLabel->setBuddy(m_nameEdit);
    nameRow->addWidget(nameLabel);
    nameRow->addWidget(m_nameEdit, 1);
    layout->addLayout(nameRow);
    layout->addWidget(kind);
    layout->addWidget(m_uniqueBox);
    layout->addStretch();
    return page;
}

QWidget* TIndexDefinition::CreateHierarchicalPage() {
    auto* page = new QWidget;
    m_availableList = new QListWidget;
    m_keyList = new QListWidget;
    auto button = [this](const QString& caption, const QString& hint, void (TIndexDefinition::*slot)()) {
        auto* b = new QPushButton(caption);
        b->setToolTip(hint);
        b->setAutoDefault(false);
        connect(b, &QPushButton::clicked, this, slot);
        return b;
    };
    m_insertBtn = button(QStringLiteral(">"), QStringLiteral("Add the selected column to the index"),
                         &TIndexDefinition::InsertColumnBtnClick);
    m_deleteBtn = button(QStringLiteral("<"), QStringLiteral("Remove the selected column from the index"),
                         &TIndexDefinition::DeleteColumnBtnClick);
    m_deleteAllBtn = button(QStringLiteral("<<"), QStringLiteral("Remove all columns from the index"),
                            &TIndexDefinition::DeleteAllColumnsBtnClick);
    m_upBtn = button(QStringLiteral("Up"), QStringLiteral("Move the selected column up in the key"),
                     &TIndexDefinition::MoveUpBtnClick);
    m_downBtn = button(QStringLiteral("Down"), QStringLiteral("Move the selected column down in the key"),
                       &TIndexDefinition::MoveDownBtnClick);
    connect(m_availableList, &QListWidget::itemDoubleClicked, this, [this] { InsertColumnBtnClick(); });
    connect(m_keyList, &QListWidget::itemDoubleClicked, this, [this] { DeleteColumnBtnClick(); });
    connect(m_keyList, &QListWidget::currentRowChanged, this, [this] {
        if (!m_showing) ShowSelectedKey();
    });
    m_availableList->installEventFilter(this);
    m_keyList->installEventFilter(this);

    m_ascendingRadio = new QRadioButton(QStringLiteral("&Ascending"));
    m_descendingRadio = new QRadioButton(QStringLiteral("&Descending"));
    connect(m_descendingRadio, &QRadioButton::toggled, this, [this](bool descending) {
        if (m_showing) return;
        const int key = SelectedKey();
        m_core.SetAscending(key, !descending);
        ShowKeys(key);
    });
    m_lengthLabel = new QLabel(QStringLiteral("Length"));
    m_lengthSpin = new QSpinBox;
    m_lengthSpin->setRange(0, 32767);
    m_lengthSpin->setToolTip(QStringLiteral("Leading characters of the column that form the key (0: all)"));
    m_lengthLabel->setBuddy(m_lengthSpin);
    connect(m_lengthSpin, &QSpinBox::valueChanged, this, [this](int length) {
        if (m_showing) return;
        const int key = SelectedKey();
        m_core.SetLength(key, length);
        ShowKeys(key);
    });

    auto* buttons = new QVBoxLayout;
    buttons->addStretch();
    for (QPushButton* b : {m_insertBtn, m_deleteBtn, m_deleteAllBtn, m_upBtn, m_downBtn}) buttons->addWidget(b);
    buttons->addStretch();
    auto* grid = new QGridLayout(page);
    auto* availableLabel = new QLabel(QStringLiteral("Available Table Columns"));
    availableLabel->setBuddy(m_availableList);
    auto* keysLabel = new QLabel(QStringLiteral("Index Fields"));
    keysLabel->setBuddy(m_keyList);
    grid->addWidget(availableLabel, 0, 0);
    grid->addWidget(keysLabel, 0, 2);
    grid->addWidget(m_availableList, 1, 0);
    grid->addLayout(buttons, 1, 1);
    grid->addWidget(m_keyList, 1, 2);
    auto* direction = new QHBoxLayout;
    direction->addWidget(m_ascendingRadio);
    direction->addWidget(m_descendingRadio);
    direction->addStretch();
    direction->addWidget(m_lengthLabel);
    direction->addWidget(m_lengthSpin);
    grid->addLayout(direction, 2, 2);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(2, 1);
    return page;
}

QWidget* TIndexDefinition::CreateCalculatedPage() {
    auto* page = new QWidget;
    m_expressionEdit = new QLineEdit;
    connect(m_expressionEdit, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (!m_showing) m_core.Expression = text;
    });
    m_expressionHint = new QLabel;
    m_expressionHint->setWordWrap(true);
    auto* layout = new QVBoxLayout(page);
    auto* label = new QLabel(QStringLiteral("Expression"));
    label->setBuddy(m_expressionEdit);
    layout->addWidget(label);
    layout->addWidget(m_expressionEdit);
    layout->addWidget(m_expressionHint);
    layout->addStretch();
    return page;
}

QWidget* TIndexDefinition::CreateAdvancedPage() {
    auto* page = new QWidget;
    m_capacityBox = new QComboBox;
    m_capacityBox->setEditable(true);
    m_capacityBox->addItems(TIndexDefinitionCore::CapacityChoices());
    m_capacityBox->setToolTip(QStringLiteral("Number of records the index is laid out for"));
    connect(m_capacityBox, &QComboBox::currentTextChanged, this, [this](const QString& text) {
        if (!m_showing) m_core.CapacityText = text;
    });
    auto* layout = new QVBoxLayout(page);
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(QStringLiteral("Capacity"));
    label->setBuddy(m_capacityBox);
    row->addWidget(label);
    row->addWidget(m_capacityBox, 1);
    layout->addLayout(row);
    layout->addStretch();
    return page;
}

// ---------------------------------------------------------------- preparing

void TIndexDefinition::SetTable(TOstTable* table) {
    m_core.SetTable(table);
    ShowState();
}

void TIndexDefinition::SetAllowFileExt(bool allow) { m_core.SetAllowFileExt(allow); }

void TIndexDefinition::SetEditableStringLength(bool editable) {
    if (isVisible()) throw Exception(IndexDefText::EditableStringLengthTooLate());
    m_core.SetEditableStringLength(editable);
    ShowState();
}

void TIndexDefinition::ModifyIndexDef(const TIndexDef* def) {
    m_core.ModifyIndexDef(def);
    ShowState();
}

void TIndexDefinition::ModifyIndexDef(const TOstFulltextIndexDef* def) {
    m_core.ModifyIndexDef(def);
    ShowState();
}

void TIndexDefinition::SetPendingDictionary(const TDictionaryItem* item) {
    m_core.SetPendingDictionary(item);
    ShowState();
}

// ---------------------------------------------------------------- showing the state

void TIndexDefinition::ShowState() {
    m_showing = true;
    m_nameEdit->setText(m_core.IndexName);
    m_hierarchicalRadio->setChecked(m_core.Kind == ikHierarchical);
    m_calculatedRadio->setChecked(m_core.Kind == ikCalculated);
    m_fulltextRadio->setChecked(m_core.Kind == ikFulltext);
    m_hierarchicalRadio->setEnabled(m_core.KindEnabled(ikHierarchical));
    m_calculatedRadio->setEnabled(m_core.KindEnabled(ikCalculated));
    m_fulltextRadio->setEnabled(m_core.KindEnabled(ikFulltext));
    m_fulltextRadio->setVisible(m_core.FulltextAvailable());
    m_uniqueBox->setChecked(m_core.Unique);

    m_availableList->clear();
    m_availableList->addItems(m_core.AvailableColumns());
    if (m_availableList->count() > 0) m_availableList->setCurrentRow(0);
    m_lengthLabel->setVisible(m_core.EditableStringLength());
    m_lengthSpin->setVisible(m_core.EditableStringLength());

    m_expressionEdit->setMaxLength(m_core.ExpressionMaxLength());
    m_expressionEdit->setText(m_core.Expression);
    m_expressionHint->setText(m_core.ExpressionHint());

    m_capacityBox->setCurrentText(m_core.CapacityText);
    m_showing = false;
    ShowKeys(m_core.Keys().Count() > 0 ? 0 : -1);
    ShowFulltextColumns();
    CheckVisibleSheet();
}

void TIndexDefinition::ShowKeys(int select) {
    m_showing = true;
    m_keyList->clear();
    m_keyList->addItems(m_core.KeyTexts());
    if (select >= 0 && select < m_keyList->count()) m_keyList->setCurrentRow(select);
    const QStringList available = m_core.AvailableColumns();
    if (m_availableList->count() != available.size()) {
        const int row = std::max(0, m_availableList->currentRow());
        m_availableList->clear();
        m_availableList->addItems(available);
        if (m_availableList->count() > 0) m_availableList->setCurrentRow(std::min(row, m_availableList->count() - 1));
    }
    m_showing = false;
    ShowSelectedKey();
}

int TIndexDefinition::SelectedKey() const { return m_keyList->currentRow(); }

void TIndexDefinition::ShowSelectedKey() {
    const int key = SelectedKey();
    const bool any = key >= 0 && key < m_core.Keys().Count();
    m_showing = true;
    m_ascendingRadio->setEnabled(any);
    m_descendingRadio->setEnabled(any);
    if (any) {
        const TIndexDescription* d = m_core.Keys().GetIndexDescription(key);
        m_ascendingRadio->setChecked(d->Ascending);
        m_descendingRadio->setChecked(!d->Ascending);
        const int full = m_core.GetFieldLen(d->FieldName);
        m_lengthSpin->setEnabled(full > 0);
        m_lengthSpin->setRange(0, std::max(0, full));
        m_lengthSpin->setValue(d->Length);
    } else {
        m_lengthSpin->setEnabled(false);
    }
    m_deleteBtn->setEnabled(any);
    m_deleteAllBtn->setEnabled(m_core.Keys().Count() > 0);
    m_upBtn->setEnabled(any && key > 0);
    m_downBtn->setEnabled(any && key + 1 < m_core.Keys().Count());
    m_insertBtn->setEnabled(!m_core.AvailableColumns().isEmpty());
    m_showing = false;
}

// Shows exactly the page of the chosen kind; unique is no option of a fulltext index.
void TIndexDefinition::CheckVisibleSheet() {
    if (m_hierarchicalRadio->isChecked()) m_core.Kind = ikHierarchical;
    else if (m_calculatedRadio->isChecked()) m_core.Kind = ikCalculated;
    else if (m_fulltextRadio->isChecked()) m_core.Kind = ikFulltext;
    // The pages shown: General, the kind's, and "Advanced" below level 4. Tabs
    // that do not apply are taken out, not hidden, so that neither the tab
    // bar nor Ctrl+Tab can reach a page of another kind.
    QList<QWidget*> wanted{m_generalPage,
                           m_core.Kind == ikCalculated ? m_calculatedPage
                           : m_core.Kind == ikFulltext ? m_fulltextPage
                                                       : m_hierarchicalPage};
    if (m_core.AdvancedVisible()) wanted.append(m_advancedPage);
    QList<QWidget*> shown;
    for (int i = 0; i < m_pages->count(); ++i) shown.append(m_pages->widget(i));
    if (shown != wanted) {
        // General stays (and the control with the focus on it); the others follow it.
        QWidget* current = m_pages->currentWidget();
        const QSignalBlocker blocker(m_pages);
        if (!wanted.contains(current)) m_pages->setCurrentWidget(m_generalPage);
        while (m_pages->count() > 1) m_pages->removeTab(1);
        for (QWidget* page : wanted.mid(1)) m_pages->addTab(page, page->windowTitle());
        m_pages->setCurrentWidget(wanted.contains(current) ? current : m_generalPage);
    }
    m_uniqueBox->setEnabled(m_core.UniqueEnabled());
    UpdateVisibleControls();
}

// ---------------------------------------------------------------- the key list

void TIndexDefinition::InsertColumnBtnClick() {
    const QListWidgetItem* item = m_availableList->currentItem();
    if (!item) return;
    const int key = m_core.InsertColumn(item->text());
    if (key >= 0) ShowKeys(key);
}

void TIndexDefinition::DeleteColumnBtnClick() {
    const int key = m_core.DeleteKey(SelectedKey());
    ShowKeys(key);
    // The list of columns grew by the one given back.
    m_showing = true;
    m_availableList->clear();
    m_availableList->addItems(m_core.AvailableColumns());
    if (m_availableList->count() > 0) m_availableList->setCurrentRow(0);
    m_showing = false;
    ShowSelectedKey();
}

void TIndexDefinition::DeleteAllColumnsBtnClick() {
    m_core.DeleteAllKeys();
    ShowKeys(-1);
}

void TIndexDefinition::MoveUpBtnClick() { ShowKeys(m_core.MoveKey(SelectedKey(), -1)); }
void TIndexDefinition::MoveDownBtnClick() { ShowKeys(m_core.MoveKey(SelectedKey(), 1)); }

// ---------------------------------------------------------------- events

bool TIndexDefinition::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        // Without file extensions a "." typed into the name is swallowed.
        if (watched == m_nameEdit && !m_core.AllowFileExt() && key->text() == QStringLiteral(".")) return true;
        const bool enter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
        if (enter && watched == m_availableList) {
            InsertColumnBtnClick();
            return true;
        }
        if (enter && watched == m_keyList) {
            DeleteColumnBtnClick();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void TIndexDefinition::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    m_pages->setCurrentWidget(m_generalPage);
    m_nameEdit->setFocus();
}

void TIndexDefinition::accept() {
    // The name and the unique flag as the controls show them.
    m_core.IndexName = m_core.FilterIndexName(m_nameEdit->text());
    m_core.Unique = m_uniqueBox->isChecked();
    m_core.CapacityText = m_capacityBox->currentText();
    const QStringList messages = m_core.Validate();
    if (!messages.isEmpty()) {
        OstDialogs().MessageBox(this, IndexDefText::ErrorCaption(), messages.join(QStringLiteral("\r\n")),
                                QMessageBox::Critical, QMessageBox::Ok);
        return;
    }
    QDialog::accept();
}
