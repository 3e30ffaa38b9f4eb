// The designer form: construction, opening and closing, applying, the status
// bar with its progress, and what the core asks of its view. The General
// page's handlers are in ostcolumnspage.cpp and osttablepropspage.cpp.
#include "designer/osttabledesigner.h"

#include "common/ostdialogservice.h"
#include "designer/ostcolumnpropseditor.h"
#include "designer/core/ostcascadepreview.h"
#include "designer/ostdifferencedlg.h"
#include "engine/ostdataset.h"
#include "setup/ostpasswordchangedlg.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QStyle>
#include <QStyleOptionFrame>
#include <QTabWidget>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <qdrawutil.h>

namespace {

QString PageCaption(const QTabWidget* pages, int index) {
    QString caption = pages->tabText(index);
    return caption.remove(u'&');
}

} // namespace

// ---------------------------------------------------------------- TDesignerStatusBar

TDesignerStatusBar::TDesignerStatusBar(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize TDesignerStatusBar::sizeHint() const {
    return QSize(TextPanelWidth * 2, fontMetrics().height() + 8);
}

void TDesignerStatusBar::SetPanelText(const QString& text) {
    if (text == m_text) return;
    m_text = text;
    update(PanelRect(0));
}

QRect TDesignerStatusBar::PanelRect(int panel) const {
    const int top = 2;
    const int h = height() - 4;
    if (panel == 0) return QRect(2, top, TextPanelWidth, h);
    const int left = TextPanelWidth + 4;
    return QRect(left, top, qMax(0, width() - left - 2), h);
}

void TDesignerStatusBar::paintEvent(QPaintEvent*) {
    QPainter p(this);
    for (int panel = 0; panel < 2; ++panel)
        qDrawShadePanel(&p, PanelRect(panel), palette(), true, 1);
    const QRect text = PanelRect(0).adjusted(4, 1, -4, -1);
    p.setPen(palette().color(QPalette::WindowText));
    p.drawText(text, Qt::AlignVCenter | Qt::AlignLeft,
               fontMetrics().elidedText(m_text, Qt::ElideRight, text.width()));
    emit drawPanel(this, 1, PanelRect(1));
}

// ---------------------------------------------------------------- construction

TOstTableDesigner::TOstTableDesigner(QWidget* parent)
    : QDialog(parent), m_core(std::make_unique<TOstTableDesignerCore>(this)),
      m_checksCore(std::make_unique<TChecksPageCore>(*m_core)),
      m_indexesCore(std::make_unique<TIndexesPageCore>(*m_core)),
      m_relationsCore(std::make_unique<TRelationshipsPageCore>(*m_core)) {
    setWindowTitle(QStringLiteral("Ostra Table Designer - %1").arg(QString()));
    setSizeGripEnabled(true);

    m_pages = new QTabWidget(this);
    CreateGeneralPage();
    CreateChecksPage();
    CreateRelationshipsPage();
    CreateIndexesPage();
    connect(m_pages, &QTabWidget::currentChanged, this,
            [this](int index) { DesignerPageControlChange(index); });

    m_applyBtn = new QPushButton(QStringLiteral("Apply"), this);
    m_closeBtn = new QPushButton(QStringLiteral("Close"), this);
    for (QPushButton* b : {m_applyBtn, m_closeBtn})
        b->setAutoDefault(false);
    connect(m_applyBtn, &QPushButton::clicked, this, &TOstTableDesigner::ApplyBtnClick);
    connect(m_closeBtn, &QPushButton::clicked, this, &TOstTableDesigner::CloseBtnClick);
    CreateStatusBar();

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_applyBtn);
    buttons->addWidget(m_closeBtn);
    auto* body = new QVBoxLayout;
    body->setContentsMargins(8, 8, 8, 4);
    body->addWidget(m_pages, 1);
    body->addLayout(buttons);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(body, 1);
    layout->addWidget(m_statusBar);
    resize(900, 620);
}

TOstTableDesigner::~TOstTableDesigner() {
    if (m_busyCursor) QApplication::restoreOverrideCursor();
    // Nothing the controls send while they go may reach the handlers.
    m_closing = true;
    for (QObject* child : findChildren<QObject*>()) {
        child->removeEventFilter(this);
        child->disconnect(this);
    }
    // The editor goes with the form's children, after the working table
    // whose columns it holds: it lets go of them now.
    if (m_columnPropertyEditor) {
        m_columnPropertyEditor->OnChange = nullptr;
        m_columnPropertyEditor->SetFieldDef(nullptr);
        m_columnPropertyEditor->SetFieldDefList(nullptr);
    }
}

void TOstTableDesigner::CreateGeneralPage() {
    m_generalPage = new QWidget;
    m_tablePropertiesPanel = CreateTablePropertiesPanel();
    auto* splitter = new QSplitter(Qt::Horizontal, m_generalPage);
    splitter->addWidget(CreateColumnsPanel());
    m_columnPropertiesPanel = new QWidget;
    m_columnPropertiesPanel->setMinimumWidth(340);
    // The editor makes itself a child of the panel and fills it.
    m_columnPropertyEditor = new TColumnPropertyEditor(m_columnPropertiesPanel);
    // A column turned into dtAutoInc is offered the key's columns as its indication.
    m_columnPropertyEditor->OnIndicationRequest = [this](TColumnPropertyEditor*, QString& indication) {
        indication = m_core->DefaultIndication();
    };
    splitter->addWidget(m_columnPropertiesPanel);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    splitter->setChildrenCollapsible(false);

    auto* layout = new QVBoxLayout(m_generalPage);
    layout->addWidget(m_tablePropertiesPanel);
    layout->addWidget(splitter, 1);
    m_pages->addTab(m_generalPage, QStringLiteral("General"));
    GiveToolBarKeys(m_generalPage, m_columnToolBar,
                    {{m_newColumnAct, QKeySequence(Qt::CTRL | Qt::Key_N)},
                     {m_deleteColumnAct, QKeySequence(Qt::CTRL | Qt::Key_Delete)},
                     {m_moveColumnUpAct, QKeySequence(Qt::CTRL | Qt::Key_Up)},
                     {m_moveColumnDownAct, QKeySequence(Qt::CTRL | Qt::Key_Down)},
                     {m_primaryKeyAct, QKeySequence(Qt::CTRL | Qt::Key_K)}});
}

void GiveToolBarKeys(QWidget* page, QToolBar* toolBar, const QList<QPair<QAction*, QKeySequence>>& keys) {
    for (const auto& [action, key] : keys) {
        // Anywhere in the designer while the page shows: a hidden page's keys do not count.
        action->setShortcut(key);
        action->setShortcutContext(Qt::WindowShortcut);
        page->addAction(action);
        if (QWidget* button = toolBar->widgetForAction(action)) {
            button->setFocusPolicy(Qt::StrongFocus);
            button->setAccessibleDescription(key.toString(QKeySequence::NativeText));
        }
    }
}

void TOstTableDesigner::CreateStatusBar() {
    m_statusBar = new TDesignerStatusBar(this);
    m_progressBar = new QProgressBar(m_statusBar);
    m_progressBar->setRange(0, 100);
    m_progressBar->setValue(0);
    m_progressBar->setTextVisible(false);
    m_progressBar->hide();
    connect(m_statusBar, &TDesignerStatusBar::drawPanel, this,
            [this](TDesignerStatusBar* bar, int panel, const QRect& rect) {
                TableDesignerStatusBarDrawPanel(bar, panel, rect);
            });
}

// The progress bar lies over the owner-drawn panel, one pixel larger on every side.
void TOstTableDesigner::TableDesignerStatusBarDrawPanel(TDesignerStatusBar* statusBar, int panel,
                                                        const QRect& rect) {
    if (statusBar != m_statusBar || panel != 1) return;
    const QRect bounds = rect.adjusted(-1, -1, 1, 1);
    if (m_progressBar->geometry() != bounds) m_progressBar->setGeometry(bounds);
}

// ---------------------------------------------------------------- opening

void TOstTableDesigner::SetNewTable(bool value) {
    m_core->SetNewTable(value);
}

void TOstTableDesigner::SetOstDataset(TOstDataSet* dataSet) {
    m_core->SetOstDataset(dataSet);
    if (m_core->ReadOnlyView()) ApplyReadOnlyView();
    UpdateActions();
}

void TOstTableDesigner::ApplyReadOnlyView() {
    for (QWidget* page : {m_checksPage, m_relationshipsPage, m_indexesPage})
        m_pages->setTabVisible(m_pages->indexOf(page), false);
    m_tablePropertiesPanel->setEnabled(false);
    m_tablePropertiesPanel->hide();
    m_columnToolBar->setEnabled(false);
    m_checksToolBar->setEnabled(false);
    m_relationsToolBar->setEnabled(false);
    m_indexToolBar->setEnabled(false);
    m_columnToolBar->hide();
    SetApplyEnabled(false);
    m_columnPropertiesPanel->setEnabled(false);
}

void TOstTableDesigner::DefinitionsReloaded() {
    // The columns the editor held went with the previous working table.
    m_columnPropertyEditor->OnChange = nullptr;
    m_columnPropertyEditor->SetFieldDefList(nullptr);
    // Showing the General page again is no page change of the user's: the
    // status text stays.
    {
        const QSignalBlocker blocker(m_pages);
        m_pages->setCurrentWidget(m_generalPage);
    }
    if (TOstDataSet* table = m_core->Table()) m_columnPropertyEditor->SetOstDatabase(table->GetDatabase());
    GetTableProperties();
    TOstFieldDefs& columns = m_core->Columns();
    UpdateColumnsListView(columns.Count() > 0 ? columns[0] : nullptr);
    UpdateChecksListView(nullptr);
    UpdateForeignKeyDefsListView(nullptr);
    // The statistics of the indexes are read again from what is stored now.
    m_indexesCore->StatisticsChanged();
    UpdateIndexListView(nullptr);
}

void TOstTableDesigner::UpdateCaption() {
    setWindowTitle(QStringLiteral("Ostra Table Designer - %1").arg(m_core->WorkingTable()->GetTableName()));
}

void TOstTableDesigner::AllowColumnChanges(bool fieldChange, bool indexChange) {
    m_columnPropertyEditor->SetAllowFieldChange(fieldChange);
    m_columnPropertyEditor->SetAllowIndexChange(indexChange);
}

// ---------------------------------------------------------------- pages, status and progress

void TOstTableDesigner::DesignerPageControlChange(int index) {
    SetStatusText(PageCaption(m_pages, index));
}

void TOstTableDesigner::SetStatusText(const QString& text) {
    m_statusBar->SetPanelText(text);
    m_progressBar->setValue(0);
    m_progressBar->hide();
}

void TOstTableDesigner::SetProgress(int percent) {
    m_progressBar->setValue(qBound(0, percent, 100));
    m_progressBar->setVisible(percent > 0);
    QCoreApplication::processEvents();
}

void TOstTableDesigner::SetBusy(bool busy) {
    m_pages->setEnabled(!busy);
    m_applyBtn->setEnabled(!busy && m_applyWanted);
    m_closeBtn->setEnabled(!busy);
    if (busy && !m_busyCursor)
        QApplication::setOverrideCursor(Qt::WaitCursor);
    else if (!busy && m_busyCursor)
        QApplication::restoreOverrideCursor();
    m_busyCursor = busy;
}

void TOstTableDesigner::SetApplyEnabled(bool enabled) {
    m_applyWanted = enabled && !m_core->ReadOnlyView();
    m_applyBtn->setEnabled(m_applyWanted);
}

// ---------------------------------------------------------------- messages

void TOstTableDesigner::ShowErrorMsg(const QString& text) {
    OstDialogs().MessageBox(this, QStringLiteral("Error"), text, QMessageBox::Critical, QMessageBox::Ok);
}

void TOstTableDesigner::ShowInfoMsg(const QString& text) {
    OstDialogs().MessageBox(this, QStringLiteral("Information"), text, QMessageBox::Information,
                            QMessageBox::Ok);
}

ITableDesignerView::TAnswer TOstTableDesigner::GetQuestionResult(const QString& text) {
    const int pressed = OstDialogs().MessageBox(this, QStringLiteral("Question"), text, QMessageBox::Question,
                                                QMessageBox::Yes | QMessageBox::No);
    return pressed == QMessageBox::Yes ? Yes : No;
}

bool TOstTableDesigner::ConfirmModifications(const TModifications& list) {
    QStringList notes;
    if (TOstTable* designed = Core().DesignedTable())
        notes = CascadeNotes(*designed, Core().WorkingTable()->GetIntegrityRules(), Core().NewTable());
    return TTableStructureDifferenceDlg::Execute(this, list, notes);
}

QString TOstTableDesigner::GetEncryptionKey(int method) {
    TOstPasswordChangeDialog dialog(this);
    dialog.SetEncryptionMethod(method);
    return dialog.exec() == QDialog::Accepted ? dialog.Password() : QString();
}

// ---------------------------------------------------------------- applying and closing

void TOstTableDesigner::ApplyBtnClick() {
    // An Apply that comes while one runs (its progress lets input through) is none.
    if (m_core->Applying()) return;
    Guarded([this] { m_core->Apply(); });
    // Whatever way the apply ended, the form takes input again.
    SetBusy(false);
}

void TOstTableDesigner::CloseBtnClick() {
    close();
}

void TOstTableDesigner::reject() {
    close();
}

void TOstTableDesigner::FormCloseQuery(bool& canClose) {
    canClose = true;
    Guarded([&] { canClose = m_core->CloseQuery(); });
    if (canClose) setResult(m_core->ChangesApplied() ? QDialog::Accepted : QDialog::Rejected);
}

void TOstTableDesigner::closeEvent(QCloseEvent* event) {
    if (m_busyCursor) {
        event->ignore();
        return;
    }
    bool canClose = true;
    FormCloseQuery(canClose);
    if (!canClose) {
        event->ignore();
        return;
    }
    m_core->RestoreIndexName();
    event->accept();
    // Controls losing the focus as the form hides are not left by the user.
    m_closing = true;
    done(result());
    m_closing = false;
}
