#include "query/ostfilterdlg.h"

#include "common/ostdialogservice.h"

#include <QAction>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTextCursor>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <climits>

using namespace Qt::StringLiterals;

namespace {
constexpr int NodeRole = Qt::UserRole + 1;
}

TOstFilterDialog::TOstFilterDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(u"Set Filter"_s);
    setSizeGripEnabled(true);

    // ---- page "Wizard"
    m_wizardPage = new QWidget;
    m_toolBar = new QToolBar;
    m_addAct = m_toolBar->addAction(u"Add"_s, this, &TOstFilterDialog::AddActExecute);
    m_addAct->setToolTip(u"Add a condition"_s);
    m_deleteAct = m_toolBar->addAction(u"Delete"_s, this, &TOstFilterDialog::DeleteActExecute);
    m_deleteAct->setToolTip(u"Delete the selected condition"_s);
    m_indentRightAct = m_toolBar->addAction(u"Indent Right"_s, this, &TOstFilterDialog::IndentRightActExecute);
    m_indentRightAct->setToolTip(u"Group the condition with the one above"_s);
    m_indentLeftAct = m_toolBar->addAction(u"Indent Left"_s, this, &TOstFilterDialog::IndentLeftActExecute);
    m_indentLeftAct->setToolTip(u"Take the condition out of its group"_s);
    m_moveUpAct = m_toolBar->addAction(u"Move Up"_s, this, &TOstFilterDialog::MoveUpActExecute);
    m_moveDownAct = m_toolBar->addAction(u"Move Down"_s, this, &TOstFilterDialog::MoveDownActExecute);

    m_tree = new QTreeWidget;
    m_tree->setColumnCount(2);
    m_tree->setHeaderLabels({u"Condition"_s, u"Junction"_s});
    m_tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_tree->header()->setStretchLastSection(false);
    m_tree->setItemsExpandable(false); // nodes are never collapsed
    m_tree->setRootIsDecorated(true);
    connect(m_tree, &QTreeWidget::currentItemChanged, this, [this] { ConditionTreeViewChange(); });

    m_junction = new QComboBox;
    m_junction->addItems(JunctionTexts());
    m_field = new QComboBox;
    connect(m_field, &QComboBox::currentIndexChanged, this, [this] { FieldComboBoxChange(); });
    m_operator = new QComboBox;
    m_operator->addItems(OperatorTexts());
    m_valueEdit = new QLineEdit;
    m_valueSpin = new QSpinBox;
    m_valueSpin->setRange(INT_MIN, INT_MAX);
    m_valuePicker = new QDateTimeEdit;
    m_valuePicker->setCalendarPopup(true);
    auto* valueBox = new QWidget; // the editors share one place
    auto* valueLayout = new QHBoxLayout(valueBox);
    valueLayout->setContentsMargins(0, 0, 0, 0);
    for (QWidget* w : {static_cast<QWidget*>(m_valueEdit), static_cast<QWidget*>(m_valueSpin),
                       static_cast<QWidget*>(m_valuePicker)})
        valueLayout->addWidget(w);
    m_valueSpin->hide();
    m_valuePicker->hide();
    m_visibleEditor = m_valueEdit;
    m_updateBtn = new QPushButton(u"Update Condition"_s);
    m_updateBtn->setAutoDefault(false);
    connect(m_updateBtn, &QPushButton::clicked, this, &TOstFilterDialog::UpdateConditionBtnClick);
    m_field->setEnabled(false);
    m_operator->setEnabled(false);
    m_updateBtn->setEnabled(false);

    auto* inputs = new QFormLayout;
    inputs->addRow(u"Junction"_s, m_junction);
    inputs->addRow(u"Field"_s, m_field);
    inputs->addRow(u"Operator"_s, m_operator);
    inputs->addRow(u"Value"_s, valueBox);
    inputs->addRow(QString(), m_updateBtn);
    auto* wizard = new QVBoxLayout(m_wizardPage);
    wizard->addWidget(m_toolBar);
    wizard->addWidget(m_tree, 1);
    wizard->addLayout(inputs);

    // ---- page "Condition"
    auto* conditionPage = new QWidget;
    m_memo = new QPlainTextEdit;
    m_memo->setReadOnly(true);
    m_directInput = new QCheckBox(u"Direct Input"_s);
    connect(m_directInput, &QCheckBox::clicked, this, &TOstFilterDialog::DirectInputCheckBoxClick);
    m_testBtn = new QPushButton(u"Test"_s);
    m_testBtn->setAutoDefault(false);
    m_testBtn->setToolTip(u"Count the records the condition selects"_s);
    connect(m_testBtn, &QPushButton::clicked, this, &TOstFilterDialog::TestBtnClick);
    m_testResult = new QLabel;
    m_testResult->setWordWrap(true);
    auto* testRow = new QHBoxLayout;
    testRow->addWidget(m_directInput);
    testRow->addStretch();
    testRow->addWidget(m_testBtn);
    auto* condition = new QVBoxLayout(conditionPage);
    condition->addWidget(m_memo, 1);
    condition->addLayout(testRow);
    condition->addWidget(m_testResult);

    m_pages = new QTabWidget;
    m_pages->addTab(m_wizardPage, u"Wizard"_s);
    m_pages->addTab(conditionPage, u"Condition"_s);
    connect(m_pages, &QTabWidget::currentChanged, this, [this](int index) { PageControlChange(index); });

    // ---- the extended style
    m_actionGroup = new QGroupBox(u"Found records"_s);
    m_actionButtons = new QButtonGroup(this);
    auto* actions = new QVBoxLayout(m_actionGroup);
    const QStringList choices{u"Go to the first match"_s, u"Mark the found records"_s,
                              u"Add the found records to the marks"_s, u"Remove the found records from the marks"_s};
    for (int i = 0; i < choices.size(); ++i) {
        auto* radio = new QRadioButton(choices[i]);
        m_actionButtons->addButton(radio, i);
        actions->addWidget(radio);
    }
    m_actionButtons->button(1)->setChecked(true);
    m_restrict = new QCheckBox(u"Show only the matching records when any are found"_s);
    m_restrict->setChecked(true);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(10);
    layout->addWidget(m_pages, 1);
    layout->addWidget(m_actionGroup);
    layout->addWidget(m_restrict);
    layout->addWidget(buttons);

    SetQlxDialogStyle(true);
    ActionsUpdate();
}

TOstFilterDialog::~TOstFilterDialog() {
    for (QObject* child : findChildren<QObject*>()) child->disconnect(this);
}

// ---------------------------------------------------------------- the caller's operations

void TOstFilterDialog::SetOstDataset(TOstDataSet* dataSet) {
    m_core.SetOstDataset(dataSet);
    m_filling = true;
    m_field->clear();
    for (const TFilterField& f : m_core.Fields()) m_field->addItem(f.Name, f.DataType);
    m_filling = false;
    if (m_field->count() > 0) {
        m_field->setCurrentIndex(0);
        FieldComboBoxChange();
    }
}

void TOstFilterDialog::SetFilterText(const QString& text) {
    m_core.SetFilterText(text);
    m_memo->setPlainText(text);
    m_directInput->setChecked(true);
    DirectInputCheckBoxClick();
    m_pages->setCurrentIndex(1);
}

QString TOstFilterDialog::GetFilterText() const {
    if (m_core.DirectInput()) return m_memo->toPlainText();
    return m_core.GetFilterText();
}

void TOstFilterDialog::SetQlxDialogStyle(bool on) {
    m_core.SetQlxDialogStyle(on);
    m_actionGroup->setVisible(on);
    m_restrict->setVisible(on);
}

int TOstFilterDialog::FoundAction() const { return m_actionButtons->checkedId(); }
bool TOstFilterDialog::RestrictToMatches() const { return m_restrict->isChecked(); }

// ---------------------------------------------------------------- the tree

QTreeWidgetItem* TOstFilterDialog::ItemOf(const TFilterNode* node) const {
    for (QTreeWidgetItemIterator it(m_tree); *it; ++it)
        if ((*it)->data(0, NodeRole).value<quintptr>() == quintptr(node)) return *it;
    return nullptr;
}

void TOstFilterDialog::RefreshTree() {
    m_filling = true;
    m_tree->clear();
    std::function<void(const TFilterNode*, QTreeWidgetItem*)> add = [&](const TFilterNode* parent, QTreeWidgetItem* into) {
        for (const auto& child : parent->Children()) {
            auto* item = into ? new QTreeWidgetItem(into) : new QTreeWidgetItem(m_tree);
            item->setText(0, TOstFilterCore::NodeCaption(child.get()));
            item->setText(1, ConnectiveText(child->Connective));
            item->setData(0, NodeRole, QVariant::fromValue(quintptr(child.get())));
            add(child.get(), item);
        }
    };
    add(m_core.Tree().Root(), nullptr);
    m_tree->expandAll();
    if (QTreeWidgetItem* item = ItemOf(m_core.Selected())) m_tree->setCurrentItem(item);
    m_filling = false;
    ConditionTreeViewChange();
}

void TOstFilterDialog::ConditionTreeViewChange() {
    if (m_filling) return;
    QTreeWidgetItem* item = m_tree->currentItem();
    TFilterNode* node = item ? reinterpret_cast<TFilterNode*>(item->data(0, NodeRole).value<quintptr>()) : nullptr;
    m_core.Select(node);
    m_junction->setEnabled(node && !m_core.Tree().IsVeryFirst(node));
    if (node && node->Description) {
        const TFilterDescription& d = *node->Description;
        const int field = m_core.FieldIndexOf(d.FieldName);
        if (field >= 0) m_field->setCurrentIndex(field); // switches the value editor
        if (d.Operator != -1) m_operator->setCurrentText(OperatorText(d.Operator));
        m_junction->setCurrentIndex(JunctionFromConnective(node->Connective));
        SetEditorValue(d.Value);
    }
    ActionsUpdate();
}

void TOstFilterDialog::AddActExecute() {
    if (!m_core.AddEnabled()) return;
    try {
        m_core.AddCondition();
    } catch (const Exception& e) { // a column without a value form: nothing was added
        OstDialogs().MessageBox(this, u"Error"_s, e.Message(), QMessageBox::Critical, QMessageBox::Ok);
        return;
    }
    m_field->setEnabled(true);
    m_operator->setEnabled(true);
    m_updateBtn->setEnabled(true);
    RefreshTree();
}

void TOstFilterDialog::DeleteActExecute() {
    m_core.DeleteCondition();
    RefreshTree();
}

void TOstFilterDialog::IndentRightActExecute() {
    m_core.IndentRight();
    RefreshTree();
}

void TOstFilterDialog::IndentLeftActExecute() {
    m_core.IndentLeft();
    RefreshTree();
}

void TOstFilterDialog::MoveUpActExecute() {
    m_core.MoveUp();
    RefreshTree();
}

void TOstFilterDialog::MoveDownActExecute() {
    m_core.MoveDown();
    RefreshTree();
}

void TOstFilterDialog::UpdateConditionBtnClick() {
    try {
        m_core.UpdateCondition(m_field->currentIndex(), m_operator->currentText(), EditorValue(),
                               m_junction->currentIndex());
    } catch (const Exception& e) {
        OstDialogs().MessageBox(this, u"Error"_s, e.Message(), QMessageBox::Critical, QMessageBox::Ok);
    }
    RefreshTree();
}

void TOstFilterDialog::ActionsUpdate() {
    m_addAct->setEnabled(m_core.AddEnabled());
    m_deleteAct->setEnabled(m_core.DeleteEnabled());
    m_indentRightAct->setEnabled(m_core.IndentRightEnabled());
    m_indentLeftAct->setEnabled(m_core.IndentLeftEnabled());
    m_moveUpAct->setEnabled(m_core.MoveUpEnabled());
    m_moveDownAct->setEnabled(m_core.MoveDownEnabled());
}

// ---------------------------------------------------------------- inputs

void TOstFilterDialog::FieldComboBoxChange() {
    if (m_filling) return;
    m_core.SetSelectedField(m_field->currentIndex());
    if (m_field->currentIndex() >= 0) ShowValueEditor(m_field->currentData().toInt());
}

void TOstFilterDialog::ShowValueEditor(int dataType) {
    QWidget* editor = nullptr;
    switch (FilterTypeGroup(dataType)) {
    case tgText: editor = m_valueEdit; break;
    case tgInteger: case tgFloat: editor = m_valueSpin; break;
    case tgDate:
        m_valuePicker->setDisplayFormat(QLocale().dateFormat(QLocale::ShortFormat));
        editor = m_valuePicker;
        break;
    case tgTime:
        m_valuePicker->setDisplayFormat(QLocale().timeFormat(QLocale::ShortFormat));
        editor = m_valuePicker;
        break;
    case tgDateTime:
        m_valuePicker->setDisplayFormat(u"MM.dd.yyyy HH:mm:ss"_s);
        editor = m_valuePicker;
        break;
    case tgNone: return; // the editor is left as it was
    }
    for (QWidget* w : {static_cast<QWidget*>(m_valueEdit), static_cast<QWidget*>(m_valueSpin),
                       static_cast<QWidget*>(m_valuePicker)})
        w->setVisible(w == editor);
    m_visibleEditor = editor;
}

QVariant TOstFilterDialog::EditorValue() const {
    if (m_visibleEditor == m_valueSpin) return m_valueSpin->value();
    if (m_visibleEditor == m_valuePicker) return m_valuePicker->dateTime();
    return m_valueEdit->text();
}

void TOstFilterDialog::SetEditorValue(const QVariant& value) {
    if (m_visibleEditor == m_valueSpin) m_valueSpin->setValue(int(value.toLongLong()));
    else if (m_visibleEditor == m_valuePicker) {
        if (value.metaType().id() == QMetaType::QDate) m_valuePicker->setDate(value.toDate());
        else if (value.metaType().id() == QMetaType::QTime) m_valuePicker->setTime(value.toTime());
        else m_valuePicker->setDateTime(value.toDateTime());
    } else m_valueEdit->setText(value.toString());
}

void TOstFilterDialog::DirectInputCheckBoxClick() {
    const bool on = m_directInput->isChecked();
    m_core.SetDirectInput(on);
    m_memo->setReadOnly(!on);
    m_wizardPage->setEnabled(!on);
    ActionsUpdate();
}

void TOstFilterDialog::TestBtnClick() {
    if (!m_core.DirectInput()) m_memo->setPlainText(m_core.TreeText());
    const QString filter = GetFilterText();
    try {
        const int n = m_core.CountMatches(filter);
        m_testResult->setText(n == 1 ? u"1 record matches the condition."_s
                                     : u"%1 records match the condition."_s.arg(n));
    } catch (const Exception& e) {
        m_testResult->setText(e.Message());
        const int at = TOstFilterCore::ErrorPosition(e.Message());
        if (at >= 0) {
            QTextCursor cursor = m_memo->textCursor();
            cursor.setPosition(qMin(at, int(m_memo->toPlainText().size())));
            m_memo->setTextCursor(cursor);
            m_memo->setFocus();
        }
    }
}

void TOstFilterDialog::PageControlChange(int index) {
    if (index == 1 && !m_core.DirectInput()) m_memo->setPlainText(m_core.TreeText());
}

// ---------------------------------------------------------------- layout

void TOstFilterDialog::showEvent(QShowEvent* event) {
    ArrangeControls();
    QDialog::showEvent(event);
}

void TOstFilterDialog::ArrangeControls() {
    // The parts stack with gaps of 10 pixels (the layout's spacing); the two
    // controls of the extended style only when it is on. The fitted height is
    // the least the dialog may have.
    layout()->activate();
    const QSize fit = sizeHint().expandedTo(QSize(460, 0));
    setMinimumHeight(fit.height());
    resize(qMax(width(), fit.width()), fit.height());
}
