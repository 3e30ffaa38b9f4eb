// The designer's Checks page: the list of check constraints, the detail
// panel with the condition and its message, and the filter dialog that
// builds a condition. What the edits do is TChecksPageCore's.
#include "designer/osttabledesigner.h"

#include "engine/ostdataset.h"
#include "query/ostfilterdlg.h"

#include <QAction>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {
constexpr int CheckRole = Qt::UserRole + 1;
}

void TOstTableDesigner::CreateChecksPage() {
    m_checksPage = new QWidget;
    m_checksInfo = new QLabel(TChecksPageCore::InfoText());
    m_checksInfo->setWordWrap(true);
    m_checksInfo->setFrameShape(QFrame::StyledPanel);
    m_checksInfo->setMargin(6);
    m_checksSpacer = new QWidget;
    m_checksSpacer->setFixedHeight(4);
    m_checksSpacer->hide();

    m_checksToolBar = new QToolBar;
    m_newCheckAct = m_checksToolBar->addAction(QStringLiteral("Add"), this, &TOstTableDesigner::NewCheckActExecute);
    m_newCheckAct->setToolTip(QStringLiteral("Add a new check"));
    m_deleteCheckAct = m_checksToolBar->addAction(QStringLiteral("Delete"), this, &TOstTableDesigner::DeleteCheckActExecute);
    m_deleteCheckAct->setToolTip(QStringLiteral("Delete selected check"));
    m_editCheckAct = m_checksToolBar->addAction(QStringLiteral("Edit"), this, &TOstTableDesigner::EditCheckActExecute);
    m_editCheckAct->setToolTip(QStringLiteral("Modify selected check"));

    m_checksList = new QTreeWidget;
    m_checksList->setHeaderLabels({QStringLiteral("Condition")});
    m_checksList->setRootIsDecorated(false);
    connect(m_checksList, &QTreeWidget::itemClicked, this, [this] { EditCheckActExecute(); });
    connect(m_checksList, &QTreeWidget::currentItemChanged, this, [this] {
        if (!m_fillingChecks) EditCheckActExecute();
    });

    m_checkDetailPanel = new QFrame;
    m_checkConditionEdit = new QLineEdit;
    m_checkMessageEdit = new QLineEdit;
    m_editCheckConditionBtn = new QPushButton(QStringLiteral("..."));
    m_editCheckConditionBtn->setAutoDefault(false);
    m_editCheckConditionBtn->setToolTip(QStringLiteral("Build the condition"));
    connect(m_checkConditionEdit, &QLineEdit::editingFinished, this, &TOstTableDesigner::UpdateCheck);
    connect(m_checkMessageEdit, &QLineEdit::editingFinished, this, &TOstTableDesigner::UpdateCheck);
    connect(m_editCheckConditionBtn, &QPushButton::clicked, this, &TOstTableDesigner::EditCheckConditionBtnClick);
    auto* detail = new QGridLayout(m_checkDetailPanel);
    detail->addWidget(new QLabel(QStringLiteral("Condition")), 0, 0);
    detail->addWidget(m_checkConditionEdit, 0, 1);
    detail->addWidget(m_editCheckConditionBtn, 0, 2);
    detail->addWidget(new QLabel(QStringLiteral("Message")), 1, 0);
    detail->addWidget(m_checkMessageEdit, 1, 1, 1, 2);

    auto* layout = new QVBoxLayout(m_checksPage);
    layout->addWidget(m_checksInfo);
    layout->addWidget(m_checksSpacer);
    layout->addWidget(m_checksToolBar);
    layout->addWidget(m_checksList, 1);
    layout->addWidget(m_checkDetailPanel);
    m_pages->addTab(m_checksPage, QStringLiteral("Checks"));
    GiveToolBarKeys(m_checksPage, m_checksToolBar,
                    {{m_newCheckAct, QKeySequence(Qt::CTRL | Qt::Key_N)},
                     {m_deleteCheckAct, QKeySequence(Qt::CTRL | Qt::Key_Delete)},
                     {m_editCheckAct, QKeySequence(Qt::CTRL | Qt::Key_E)}});
    connect(m_pages, &QTabWidget::currentChanged, this, [this](int) {
        if (m_pages->currentWidget() == m_checksPage) ChecksSheetShow();
    });
    DisplayCheck(nullptr);
    CheckActUpdate();
}

TCheckConstraint* TOstTableDesigner::SelectedCheck() const {
    QTreeWidgetItem* item = m_checksList->currentItem();
    return item ? reinterpret_cast<TCheckConstraint*>(item->data(0, CheckRole).value<quintptr>()) : nullptr;
}

void TOstTableDesigner::EditChecksListViewItem(QTreeWidgetItem* item, const TCheckConstraint* check) {
    item->setText(0, check->ImportedConstraint);
    item->setData(0, CheckRole, QVariant::fromValue(quintptr(check)));
}

void TOstTableDesigner::UpdateChecksListView(const TCheckConstraint* select) {
    QTreeWidgetItem* remembered = nullptr;
    {
        const QSignalBlocker blocker(m_checksList);
        m_fillingChecks = true;
        m_checksList->clear();
        if (m_core->WorkingTable()) {
            for (TCheckConstraint* check : m_checksCore->Checks()) {
                auto* item = new QTreeWidgetItem(m_checksList);
                EditChecksListViewItem(item, check);
                if (check == select) remembered = item;
            }
        }
        m_fillingChecks = false;
        if (m_checksList->topLevelItemCount() > 0) {
            QTreeWidgetItem* row = remembered ? remembered : m_checksList->topLevelItem(0);
            m_checksList->setCurrentItem(row);
        }
    }
    DisplayCheck(SelectedCheck());
    CheckActUpdate();
}

void TOstTableDesigner::DisplayCheck(TCheckConstraint* check) {
    m_checkConditionEdit->setText(check ? check->ImportedConstraint : QString());
    m_checkMessageEdit->setText(check ? check->ErrorMessage : QString());
    m_checkDetailPanel->setEnabled(check != nullptr);
}

void TOstTableDesigner::SetCheckProperties() {
    TCheckConstraint* check = SelectedCheck();
    if (!check) return;
    m_checksCore->SetCheckProperties(check, m_checkConditionEdit->text(), m_checkMessageEdit->text());
    if (QTreeWidgetItem* item = m_checksList->currentItem()) EditChecksListViewItem(item, check);
    DisplayCheck(check);
    UpdateActions();
}

void TOstTableDesigner::UpdateCheck() {
    if (m_closing || !m_checkDetailPanel->isEnabled()) return;
    SetCheckProperties();
}

QString TOstTableDesigner::EditCheck(const QString& condition) {
    TOstFilterDialog dialog(this);
    dialog.SetOstDataset(m_core->WorkingTable());
    dialog.SetQlxDialogStyle(false);
    dialog.SetFilterText(condition);
    return dialog.exec() == QDialog::Accepted ? dialog.GetFilterText() : condition;
}

void TOstTableDesigner::EditCheckConditionBtnClick() {
    m_checkConditionEdit->setText(EditCheck(m_checkConditionEdit->text()));
    SetCheckProperties();
}

void TOstTableDesigner::EditCheckConstraint(TCheckConstraint* check) {
    if (check) check->CustomConstraint = EditCheck(check->CustomConstraint);
}

void TOstTableDesigner::NewCheckActExecute() {
    Guarded([this] {
        if (TCheckConstraint* check = m_checksCore->NewCheck()) UpdateChecksListView(check);
        UpdateActions();
    });
}

void TOstTableDesigner::DeleteCheckActExecute() {
    Guarded([this] {
        QTreeWidgetItem* item = m_checksList->currentItem();
        if (m_checksCore->DeleteCheck(item ? m_checksList->indexOfTopLevelItem(item) : -1) && item)
            UpdateChecksListView(nullptr);
        UpdateActions();
    });
}

void TOstTableDesigner::EditCheckActExecute() {
    if (TCheckConstraint* check = SelectedCheck()) DisplayCheck(check);
}

void TOstTableDesigner::CheckActUpdate() {
    const bool any = m_checksList->topLevelItemCount() > 0;
    m_deleteCheckAct->setEnabled(any);
    m_editCheckAct->setEnabled(any);
}

void TOstTableDesigner::ChecksSheetShow() {
    const int height = m_checkDetailPanel->y() - m_checksList->y() - 8;
    if (height > 0) m_checksList->setMinimumHeight(qMin(height, 120));
    RealignChecksTab();
}

void TOstTableDesigner::RealignChecksTab() {
    // The info text stays on top, the list and its panel below it, whatever
    // was shown or hidden in between.
    m_checksSpacer->show();
    m_checksPage->layout()->activate();
    m_checksSpacer->hide();
}
