#include "studio/studiomainwindow.h"

#include "common/ostdialogservice.h"
#include "engine/base/tdataset.h"
#include "engine/base/tdatamodule.h"
#include "studio/componentpalette.h"
#include "studio/componenttree.h"
#include "studio/dataview.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/dsdesign.h"
#include "studio/modulecanvas.h"
#include "studio/propertygrid.h"
#include "studio/packageloader.h"
#include "studio/studioclipboard.h"
#include "studio/studioutils.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QScrollArea>
#include <QSettings>
#include <QStatusBar>
#include <QStyle>
#include <QTableView>
#include <QToolBar>
#include <QUndoStack>

const QString TStudioMainWindow::kFileFilter = QStringLiteral("Ostra data module (*.ostdm)|*.ostdm|All files (*)|*");
const QString TStudioMainWindow::kDefaultSuffix = QStringLiteral("ostdm");

namespace {

const QString kRecentFilesKey = QStringLiteral("RecentFiles");
const QString kLastDirectoryKey = QStringLiteral("LastDirectory");
const QString kNewModuleName = QStringLiteral("DataModule1");

QSettings StudioSettings() { return QSettings(QStringLiteral("Ostra"), QStringLiteral("Ostra Studio")); }

void WriteRecentFiles(const QStringList& files) { StudioSettings().setValue(kRecentFilesKey, files); }

} // namespace

TStudioMainWindow::TStudioMainWindow(QWidget* parent) : QMainWindow(parent) {
    setObjectName(QStringLiteral("StudioMainWindow"));
    setWindowIcon(QIcon(QStringLiteral(":/studio/icons/studio.svg")));
    m_canvas = new TModuleCanvas;
    m_canvasScroll = new QScrollArea(this);
    m_canvasScroll->setWidget(m_canvas);
    m_canvasScroll->setWidgetResizable(true);
    m_canvasScroll->setBackgroundRole(QPalette::Base);
    setCentralWidget(m_canvasScroll);

    CreateActions();
    CreateDocks();
    CreateMenus();
    m_selectionLabel = new QLabel(this);
    statusBar()->addPermanentWidget(m_selectionLabel);

    connect(m_palette, &TComponentPalette::classSelected, m_canvas, &TModuleCanvas::SetPlacingClass);
    connect(m_palette, &TComponentPalette::createRequested, m_canvas, [this](const QMetaObject* cls) {
        m_canvas->PlaceAtFreePosition(cls);
    });
    // Esc disarms the palette wherever the focus is; only while a class is armed,
    // so that Esc keeps its meaning elsewhere.
    auto* cancelPlacing = new QAction(QStringLiteral("Cancel Placing"), this);
    cancelPlacing->setShortcut(Qt::Key_Escape);
    cancelPlacing->setEnabled(false);
    addAction(cancelPlacing);
    connect(cancelPlacing, &QAction::triggered, m_palette, &TComponentPalette::ResetSelection);
    connect(m_palette, &TComponentPalette::classSelected, cancelPlacing,
            [cancelPlacing](const QMetaObject* cls) { cancelPlacing->setEnabled(cls != nullptr); });
    connect(m_canvas, &TModuleCanvas::componentPlaced, m_palette, &TComponentPalette::ResetSelection);
    connect(m_canvas, &TModuleCanvas::dataRequested, this, &TStudioMainWindow::ShowData);
    connect(m_canvas, &TModuleCanvas::placingCancelled, m_palette, &TComponentPalette::ResetSelection);
    connect(QApplication::clipboard(), &QClipboard::dataChanged, this, &TStudioMainWindow::UpdateEditActions);

    auto module = std::make_unique<TDataModule>();
    module->SetName(kNewModuleName);
    SetModule(std::move(module), QString());
    resize(1000, 680);
}

TStudioMainWindow::~TStudioMainWindow() {
    // The views let go of the designer before it and the module go.
    m_canvas->SetDesigner(nullptr);
    m_tree->SetDesigner(nullptr);
    m_inspector->SetDesigner(nullptr);
    m_dataView->SetDesigner(nullptr);
    CloseModuleWindows();
    m_designer.reset();
    m_module.reset();
}

// ---------------------------------------------------------------- building

void TStudioMainWindow::CreateActions() {
    auto make = [this](const QString& text, const QKeySequence& key, auto slot, const QString& themeIcon = QString(),
                       QStyle::StandardPixmap fallback = QStyle::SP_CustomBase) {
        auto* a = new QAction(text, this);
        if (!key.isEmpty()) a->setShortcut(key);
        if (!themeIcon.isEmpty()) a->setIcon(QIcon::fromTheme(themeIcon, style()->standardIcon(fallback)));
        connect(a, &QAction::triggered, this, slot);
        return a;
    };
    m_newAction = make(QStringLiteral("&New"), QKeySequence::New, [this] { NewModule(); }, QStringLiteral("document-new"),
                       QStyle::SP_FileIcon);
    m_openAction = make(QStringLiteral("&Open..."), QKeySequence::Open, [this] { Open(); }, QStringLiteral("document-open"),
                        QStyle::SP_DialogOpenButton);
    m_saveAction = make(QStringLiteral("&Save"), QKeySequence::Save, [this] { Save(); }, QStringLiteral("document-save"),
                        QStyle::SP_DialogSaveButton);
    m_saveAsAction = make(QStringLiteral("Save &As..."), QKeySequence::SaveAs, [this] { SaveAs(); });
    m_exitAction = make(QStringLiteral("E&xit"), QKeySequence::Quit, [this] { close(); });
    m_undoAction = make(QStringLiteral("&Undo"), QKeySequence::Undo, [this] { RunOnDesigner([this] { m_designer->Undo(); }); });
    m_redoAction = make(QStringLiteral("&Redo"), QKeySequence::Redo, [this] { RunOnDesigner([this] { m_designer->Redo(); }); });
    m_cutAction = make(QStringLiteral("Cu&t"), QKeySequence::Cut, [this] { RunOnDesigner([this] { CutSelection(m_designer.get()); }); });
    m_copyAction = make(QStringLiteral("&Copy"), QKeySequence::Copy, [this] { RunOnDesigner([this] { CopySelection(m_designer.get()); }); });
    m_pasteAction = make(QStringLiteral("&Paste"), QKeySequence::Paste, [this] { RunOnDesigner([this] { PasteComponents(m_designer.get()); }); });
    m_deleteAction = make(QStringLiteral("&Delete"), QKeySequence::Delete, [this] { RunOnDesigner([this] { DeleteSelection(m_designer.get()); }); });
    m_selectAllAction = make(QStringLiteral("Select &All"), QKeySequence::SelectAll, [this] { SelectAll(); });
    m_aboutAction = make(QStringLiteral("&About Ostra Studio..."), QKeySequence(), [this] { About(); });
    // Edit commands act on the designer only where no text editor takes the keys first.
    for (QAction* a : {m_cutAction, m_copyAction, m_pasteAction, m_deleteAction, m_selectAllAction})
        a->setShortcutContext(Qt::WindowShortcut);
    m_newAction->setObjectName(QStringLiteral("actionNew"));
    m_openAction->setObjectName(QStringLiteral("actionOpen"));
    m_saveAction->setObjectName(QStringLiteral("actionSave"));
    m_saveAsAction->setObjectName(QStringLiteral("actionSaveAs"));
    m_exitAction->setObjectName(QStringLiteral("actionExit"));
    m_undoAction->setObjectName(QStringLiteral("actionUndo"));
    m_redoAction->setObjectName(QStringLiteral("actionRedo"));
    m_cutAction->setObjectName(QStringLiteral("actionCut"));
    m_copyAction->setObjectName(QStringLiteral("actionCopy"));
    m_pasteAction->setObjectName(QStringLiteral("actionPaste"));
    m_deleteAction->setObjectName(QStringLiteral("actionDelete"));
    m_selectAllAction->setObjectName(QStringLiteral("actionSelectAll"));
}

void TStudioMainWindow::CreateDocks() {
    m_palette = new TComponentPalette;
    auto* paletteDock = new QDockWidget(QStringLiteral("Component Palette"), this);
    paletteDock->setObjectName(QStringLiteral("paletteDock"));
    paletteDock->setWidget(m_palette);
    paletteDock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
    addDockWidget(Qt::TopDockWidgetArea, paletteDock);

    m_tree = new TComponentTree;
    auto* treeDock = new QDockWidget(QStringLiteral("Components"), this);
    treeDock->setObjectName(QStringLiteral("treeDock"));
    treeDock->setWidget(m_tree);
    addDockWidget(Qt::LeftDockWidgetArea, treeDock);

    m_inspector = new TObjectInspector;
    auto* inspectorDock = new QDockWidget(QStringLiteral("Object Inspector"), this);
    inspectorDock->setObjectName(QStringLiteral("inspectorDock"));
    inspectorDock->setWidget(m_inspector);
    addDockWidget(Qt::LeftDockWidgetArea, inspectorDock);
    resizeDocks({treeDock, inspectorDock}, {220, 420}, Qt::Vertical);
    resizeDocks({inspectorDock}, {300}, Qt::Horizontal);

    m_dataView = new TDataView;
    m_dataDock = new QDockWidget(QStringLiteral("Data"), this);
    m_dataDock->setObjectName(QStringLiteral("dataDock"));
    m_dataDock->setWidget(m_dataView);
    addDockWidget(Qt::BottomDockWidgetArea, m_dataDock);
    m_dataDock->hide();
    // The tree and the inspector keep the window's height; the data goes under the canvas.
    setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
}

void TStudioMainWindow::ShowData() {
    m_dataDock->show();
    m_dataDock->raise();
    resizeDocks({m_dataDock}, {260}, Qt::Vertical);
    m_dataView->Grid()->setFocus();
}

void TStudioMainWindow::CreateMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->addAction(m_newAction);
    file->addAction(m_openAction);
    m_recentMenu = file->addMenu(QStringLiteral("Open &Recent"));
    file->addAction(m_saveAction);
    file->addAction(m_saveAsAction);
    file->addSeparator();
    file->addAction(m_exitAction);
    FillRecentMenu();

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->addAction(m_undoAction);
    edit->addAction(m_redoAction);
    edit->addSeparator();
    for (QAction* a : {m_cutAction, m_copyAction, m_pasteAction, m_deleteAction}) edit->addAction(a);
    edit->addSeparator();
    edit->addAction(m_selectAllAction);

    m_componentMenu = menuBar()->addMenu(QStringLiteral("&Component"));
    connect(m_componentMenu, &QMenu::aboutToShow, this, &TStudioMainWindow::FillComponentMenu);

    m_viewMenu = menuBar()->addMenu(QStringLiteral("&View"));
    for (QDockWidget* dock : findChildren<QDockWidget*>()) m_viewMenu->addAction(dock->toggleViewAction());
    m_dataDock->toggleViewAction()->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_D));
    m_dataDock->toggleViewAction()->setStatusTip(QStringLiteral("The records of the selected table or query"));

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->addAction(m_aboutAction);

    QToolBar* tools = addToolBar(QStringLiteral("Standard"));
    tools->setObjectName(QStringLiteral("standardToolBar"));
    for (QAction* a : {m_newAction, m_openAction, m_saveAction}) tools->addAction(a);
    m_viewMenu->addAction(tools->toggleViewAction());
}

// ---------------------------------------------------------------- the module

void TStudioMainWindow::SetModule(std::unique_ptr<TDataModule> module, const QString& fileName) {
    m_palette->ResetSelection();
    m_canvas->SetDesigner(nullptr);
    m_tree->SetDesigner(nullptr);
    m_inspector->SetDesigner(nullptr);
    m_dataView->SetDesigner(nullptr);
    CloseModuleWindows();
    std::unique_ptr<TDesigner> oldDesigner = std::move(m_designer);
    std::unique_ptr<TDataModule> oldModule = std::move(m_module);
    oldDesigner.reset();
    oldModule.reset();

    m_module = std::move(module);
    m_fileName = fileName;
    m_designer = std::make_unique<TDesigner>(m_module.get());
    TDesigner* d = m_designer.get();
    connect(d, &IDesigner::modifiedChanged, this, &QWidget::setWindowModified);
    connect(d, &IDesigner::selectionChanged, this, [this] {
        UpdateSelectionStatus();
        UpdateEditActions();
    });
    connect(d, &IDesigner::propertyChanged, this, [this](TComponent*, const QString& property) {
        if (property == QLatin1String("Name")) UpdateSelectionStatus();
    });
    QUndoStack* stack = d->UndoStack();
    connect(stack, &QUndoStack::indexChanged, this, &TStudioMainWindow::UpdateUndoActions);
    connect(stack, &QUndoStack::canUndoChanged, this, &TStudioMainWindow::UpdateUndoActions);
    connect(stack, &QUndoStack::canRedoChanged, this, &TStudioMainWindow::UpdateUndoActions);

    m_canvas->SetDesigner(d);
    m_tree->SetDesigner(d);
    m_inspector->SetDesigner(d);
    m_dataView->SetDesigner(d);
    setWindowModified(d->IsModified());
    // Choosers that are given no folder start in the module's.
    SetDefaultDialogFolder(InitialDirectory());
    UpdateTitle();
    UpdateUndoActions();
    UpdateEditActions();
    UpdateSelectionStatus();
}

QString TStudioMainWindow::DisplayName() const {
    return m_fileName.isEmpty() ? QStringLiteral("Untitled") : QFileInfo(m_fileName).fileName();
}

void TStudioMainWindow::UpdateTitle() { setWindowTitle(QStringLiteral("Ostra Studio - %1[*]").arg(DisplayName())); }

bool TStudioMainWindow::MaybeSave() {
    if (!m_designer || !m_designer->IsModified()) return true;
    const int answer = OstDialogs().MessageBox(this, QStringLiteral("Ostra Studio"),
                                               QStringLiteral("Save changes to \"%1\"?").arg(DisplayName()),
                                               QMessageBox::Question,
                                               QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
    if (answer == QMessageBox::Yes) return Save();
    return answer == QMessageBox::No;
}

bool TStudioMainWindow::NewModule() {
    if (!MaybeSave()) return false;
    auto module = std::make_unique<TDataModule>();
    module->SetName(kNewModuleName);
    SetModule(std::move(module), QString());
    statusBar()->showMessage(QStringLiteral("New data module"), 3000);
    return true;
}

bool TStudioMainWindow::Open() {
    QString fileName;
    if (!OstDialogs().OpenFileName(this, QStringLiteral("Open Data Module"), kFileFilter, InitialDirectory(), fileName))
        return false;
    return OpenModule(fileName);
}

bool TStudioMainWindow::OpenModule(const QString& fileName) {
    if (!MaybeSave()) return false;
    const QString path = QFileInfo(fileName).absoluteFilePath();
    // Loaded into a module of its own: when loading fails the current one stays as it is.
    auto module = std::make_unique<TDataModule>();
    try {
        LoadDataModule(path, module.get());
    } catch (const Exception& e) {
        module.reset();
        RemoveRecentFile(path);
        ShowStudioError(this, e.Message());
        return false;
    }
    SetModule(std::move(module), path);
    AddRecentFile(path);
    statusBar()->showMessage(QStringLiteral("Opened %1").arg(QDir::toNativeSeparators(path)), 5000);
    return true;
}

bool TStudioMainWindow::Save() {
    if (m_fileName.isEmpty()) return SaveAs();
    return SaveTo(m_fileName);
}

bool TStudioMainWindow::SaveAs() {
    const QString dir = InitialDirectory();
    QString fileName = m_fileName.isEmpty() ? QDir(dir).filePath(m_module->GetName() + QLatin1Char('.') + kDefaultSuffix)
                                            : m_fileName;
    if (!OstDialogs().SaveFileName(this, QStringLiteral("Save Data Module As"), kFileFilter, kDefaultSuffix, dir, fileName))
        return false;
    if (QFileInfo(fileName).suffix().isEmpty()) fileName += QLatin1Char('.') + kDefaultSuffix;
    return SaveTo(fileName);
}

bool TStudioMainWindow::SaveTo(const QString& fileName) {
    const QString path = QFileInfo(fileName).absoluteFilePath();
    if (!RunReported(this, [&] { SaveDataModule(*m_module, path); })) return false;
    m_fileName = path;
    SetDefaultDialogFolder(InitialDirectory());
    m_designer->SetUnmodified();
    UpdateTitle();
    AddRecentFile(path);
    statusBar()->showMessage(QStringLiteral("Saved %1").arg(QDir::toNativeSeparators(path)), 5000);
    return true;
}

QString TStudioMainWindow::InitialDirectory() const {
    if (!m_fileName.isEmpty()) return QFileInfo(m_fileName).absolutePath();
    const QString last = StudioSettings().value(kLastDirectoryKey).toString();
    return !last.isEmpty() && QFileInfo(last).isDir() ? last : QDir::homePath();
}

void TStudioMainWindow::CloseModuleWindows() {
    if (!m_module) return;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* d = qobject_cast<TFieldsEditorDialog*>(w); d && d->DataSet() && d->DataSet()->Owner() == m_module.get())
            delete d;
}

void TStudioMainWindow::closeEvent(QCloseEvent* event) {
    if (!MaybeSave()) return event->ignore();
    CloseModuleWindows();
    event->accept();
    emit closed();
}

void TStudioMainWindow::About() {
    QStringList packages;
    for (const TLoadedPackage& p : TPackageLoader::Packages())
        packages.append(QStringLiteral("%1 (%2)").arg(p.Description, QDir::toNativeSeparators(p.FileName)));
    QString text = QStringLiteral("Ostra Studio %1\nThe data module designer of the Ostra database components.\n\n")
                       .arg(QCoreApplication::applicationVersion());
    text += packages.isEmpty() ? QStringLiteral("No packages loaded.")
                               : QStringLiteral("Packages:\n") + packages.join(QLatin1Char('\n'));
    OstDialogs().MessageBox(this, QStringLiteral("About Ostra Studio"), text, QMessageBox::Information, QMessageBox::Ok);
}

// ---------------------------------------------------------------- editing

template <class F> void TStudioMainWindow::RunOnDesigner(F&& f) {
    if (m_designer) RunReported(this, std::forward<F>(f));
}

void TStudioMainWindow::SelectAll() {
    if (m_designer) m_designer->SetSelection(m_canvas->ShownComponents());
}

void TStudioMainWindow::UpdateUndoActions() {
    QUndoStack* stack = m_designer ? m_designer->UndoStack() : nullptr;
    const bool canUndo = stack && stack->canUndo(), canRedo = stack && stack->canRedo();
    m_undoAction->setEnabled(canUndo);
    m_redoAction->setEnabled(canRedo);
    m_undoAction->setText(canUndo ? QStringLiteral("&Undo %1").arg(stack->undoText()) : QStringLiteral("&Undo"));
    m_redoAction->setText(canRedo ? QStringLiteral("&Redo %1").arg(stack->redoText()) : QStringLiteral("&Redo"));
}

void TStudioMainWindow::UpdateEditActions() {
    const bool any = !SelectedComponents(m_designer.get()).isEmpty();
    m_cutAction->setEnabled(any);
    m_copyAction->setEnabled(any);
    m_deleteAction->setEnabled(any);
    m_pasteAction->setEnabled(m_designer && CanPaste());
    m_componentMenu->setEnabled(SelectedComponents(m_designer.get()).size() == 1);
}

QString TStudioMainWindow::SelectionStatus() const { return m_selectionLabel->text(); }

void TStudioMainWindow::UpdateSelectionStatus() {
    if (!m_designer) return m_selectionLabel->clear();
    const QList<TComponent*> selection = m_designer->Selection();
    if (selection.isEmpty()) m_selectionLabel->setText(ComponentCaption(m_designer->Root()));
    else if (selection.size() == 1) m_selectionLabel->setText(ComponentCaption(selection[0]));
    else m_selectionLabel->setText(QStringLiteral("%1 components selected").arg(selection.size()));
}

void TStudioMainWindow::FillComponentMenu() {
    m_componentMenu->clear();
    const QList<TComponent*> selection = SelectedComponents(m_designer.get());
    const bool verbs = selection.size() == 1 && AddComponentVerbs(m_componentMenu, m_designer.get(), selection[0], this) > 0;
    if (selection.size() == 1 && qobject_cast<TDataSet*>(selection[0])) {
        if (verbs) m_componentMenu->addSeparator();
        m_componentMenu->addAction(QStringLiteral("View &Data"), this, &TStudioMainWindow::ShowData);
        return;
    }
    if (verbs) return;
    m_componentMenu->addAction(QStringLiteral("(No commands)"))->setEnabled(false);
}

// ---------------------------------------------------------------- recent files

QStringList TStudioMainWindow::RecentFiles() {
    return StudioSettings().value(kRecentFilesKey).toStringList().mid(0, kMaxRecentFiles);
}

void TStudioMainWindow::AddRecentFile(const QString& fileName) {
    QStringList files = RecentFiles();
    files.removeAll(fileName);
    files.prepend(fileName);
    WriteRecentFiles(files.mid(0, kMaxRecentFiles));
    StudioSettings().setValue(kLastDirectoryKey, QFileInfo(fileName).absolutePath());
    FillRecentMenu();
}

void TStudioMainWindow::RemoveRecentFile(const QString& fileName) {
    QStringList files = RecentFiles();
    if (!files.removeAll(fileName)) return;
    WriteRecentFiles(files);
    FillRecentMenu();
}

void TStudioMainWindow::FillRecentMenu() {
    m_recentMenu->clear();
    const QStringList files = RecentFiles();
    for (int i = 0; i < files.size(); ++i) {
        const QString file = files[i];
        QAction* a = m_recentMenu->addAction(QStringLiteral("&%1 %2").arg(i + 1).arg(QFileInfo(file).fileName()));
        a->setData(file);
        a->setToolTip(QDir::toNativeSeparators(file));
        a->setStatusTip(QDir::toNativeSeparators(file));
        // Queued: opening rebuilds this menu, which must not happen inside its own trigger.
        connect(a, &QAction::triggered, this, [this, file] { OpenModule(file); }, Qt::QueuedConnection);
    }
    m_recentMenu->setEnabled(!files.isEmpty());
}
