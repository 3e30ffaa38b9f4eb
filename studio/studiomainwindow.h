// Ostra Studio's main window: one data module at a time on the canvas, the
// component palette above it, the component tree and the object inspector
// beside it, and the File, Edit, Component, View and Help menus.
#pragma once

#include <QMainWindow>
#include <memory>

class QLabel;
class QDockWidget;
class QMenu;
class QScrollArea;
class TComponentPalette;
class TComponentTree;
class TDataView;
class TDataModule;
class TDesigner;
class TModuleCanvas;
class TObjectInspector;

class TStudioMainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int kMaxRecentFiles = 8;
    static const QString kFileFilter;    // for the file choosers
    static const QString kDefaultSuffix; // "ostdm"

    explicit TStudioMainWindow(QWidget* parent = nullptr);
    ~TStudioMainWindow() override;

    TDataModule* Module() const { return m_module.get(); }
    TDesigner* Designer() const { return m_designer.get(); }
    // The module's file; empty until it is saved or when it was never opened from one.
    QString FileName() const { return m_fileName; }
    // The file's name without its folder, "Untitled" without a file.
    QString DisplayName() const;

    TModuleCanvas* Canvas() const { return m_canvas; }
    TComponentPalette* Palette() const { return m_palette; }
    TComponentTree* Tree() const { return m_tree; }
    TObjectInspector* Inspector() const { return m_inspector; }
    // The "Data" view of the selected dataset and its dock (hidden until asked for).
    TDataView* DataView() const { return m_dataView; }
    QDockWidget* DataDock() const { return m_dataDock; }
    // Shows the Data view on the selection.
    void ShowData();
    QMenu* ComponentMenu() const { return m_componentMenu; }
    QMenu* RecentMenu() const { return m_recentMenu; }
    // The selection as the status bar shows it.
    QString SelectionStatus() const;

    // The recently opened or saved files, most recent first.
    static QStringList RecentFiles();

public slots:
    // The File commands; each returns false when the user cancelled or it failed.
    // Those that replace the module ask about unsaved changes first.
    bool NewModule();
    bool Open();
    bool OpenModule(const QString& fileName);
    bool Save();
    bool SaveAs();
    // Asks whether to save unsaved changes: true when it is fine to go on
    // (saved, or not to be saved), false on Cancel or a failed save.
    bool MaybeSave();
    void About();

signals:
    // The window accepted being closed: the session is over.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void CreateActions();
    void CreateMenus();
    void CreateDocks();
    void SetModule(std::unique_ptr<TDataModule> module, const QString& fileName);
    // Windows that belong to the module (fields editors) go before it does.
    void CloseModuleWindows();
    bool SaveTo(const QString& fileName);
    QString InitialDirectory() const;
    void UpdateTitle();
    void UpdateEditActions();
    void UpdateUndoActions();
    void UpdateSelectionStatus();
    void FillComponentMenu();
    void AddRecentFile(const QString& fileName);
    void RemoveRecentFile(const QString& fileName);
    void FillRecentMenu();
    void SelectAll();
    template <class F> void RunOnDesigner(F&& f);

    std::unique_ptr<TDataModule> m_module;
    std::unique_ptr<TDesigner> m_designer;
    QString m_fileName;

    TModuleCanvas* m_canvas = nullptr;
    QScrollArea* m_canvasScroll = nullptr;
    TComponentPalette* m_palette = nullptr;
    TComponentTree* m_tree = nullptr;
    TObjectInspector* m_inspector = nullptr;
    TDataView* m_dataView = nullptr;
    QDockWidget* m_dataDock = nullptr;
    QLabel* m_selectionLabel = nullptr;
    QMenu* m_componentMenu = nullptr;
    QMenu* m_recentMenu = nullptr;
    QMenu* m_viewMenu = nullptr;

    QAction* m_newAction = nullptr;
    QAction* m_openAction = nullptr;
    QAction* m_saveAction = nullptr;
    QAction* m_saveAsAction = nullptr;
    QAction* m_exitAction = nullptr;
    QAction* m_undoAction = nullptr;
    QAction* m_redoAction = nullptr;
    QAction* m_cutAction = nullptr;
    QAction* m_copyAction = nullptr;
    QAction* m_pasteAction = nullptr;
    QAction* m_deleteAction = nullptr;
    QAction* m_selectAllAction = nullptr;
    QAction* m_aboutAction = nullptr;
};
