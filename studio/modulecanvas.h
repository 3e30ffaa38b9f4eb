// The module canvas: the data module's non-visual components as icons at
// their design positions, with their names below. Components are selected by
// clicking (Ctrl toggles) or with a rubber band, moved by dragging or with the
// arrow keys (Ctrl: 8 pixels), deleted with Delete, edited by double click
// (the component editor's Edit), and offer their component editor's verbs and
// the clipboard commands on the right mouse button. Every change goes through
// the designer, so it is undoable.
//
// Persistent fields are not shown: they belong to their dataset (the fields
// editor and the component tree show them).
#pragma once

#include "studio/designintf/designer.h"

#include <QPointer>
#include <QWidget>

class QMenu;
class QRubberBand;
class TComponent;

// Adds the verbs of c's component editor to menu, each action prepared by the
// editor and executing its verb when triggered (failures are reported over
// errorOwner); "-" verbs become separators. The editor lives as long as the
// menu, or until verbs are added to the menu again. Returns how many verbs.
int AddComponentVerbs(QMenu* menu, IDesigner* designer, TComponent* c, QWidget* errorOwner);

class TModuleCanvas : public QWidget {
    Q_OBJECT
public:
    static constexpr int kIconSize = 32;

    explicit TModuleCanvas(QWidget* parent = nullptr);
    ~TModuleCanvas() override;

    // The designer whose module is shown (not owned; nullptr shows nothing).
    void SetDesigner(IDesigner* designer);
    IDesigner* Designer() const { return m_designer; }

    // The class the next click on the canvas creates (nullptr: clicks select).
    void SetPlacingClass(const QMetaObject* cls);
    const QMetaObject* PlacingClass() const { return m_placing; }
    // Creates a component with its icon's top left at pos and selects it;
    // a failure is shown and nullptr returned.
    TComponent* PlaceComponent(const QMetaObject* cls, const QPoint& pos);
    TComponent* PlaceAtFreePosition(const QMetaObject* cls);
    // The first grid cell, row by row, where an icon with its name touches no other.
    QPoint NextFreePosition() const;

    // The components shown, in the module's order.
    QList<TComponent*> ShownComponents() const;
    QRect IconRect(const TComponent* c) const;
    // The icon with the name below it.
    QRect ItemRect(const TComponent* c) const;
    // The topmost component whose icon or name is at pos.
    TComponent* ComponentAt(const QPoint& pos) const;

    // Moves the selected components by (dx, dy) as one undoable step.
    void MoveSelection(int dx, int dy);
    // The context menu for the current selection: the verbs of the selected
    // component's editor (prepared by it), then Cut, Copy, Paste and Delete.
    // The caller owns the menu; the editor lives as long as the menu does.
    QMenu* CreateContextMenu(QWidget* parent = nullptr);
    // What a double click does: the component editor's Edit.
    void EditComponent(TComponent* c);

    QSize sizeHint() const override;

signals:
    void componentPlaced(TComponent* c);
    // "View Data" on a dataset's context menu.
    void dataRequested();
    void placingCancelled();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private slots:
    void ModuleChanged();

private:
    enum class TDrag { None, Pending, Moving, RubberBand };
    bool IsSelected(const TComponent* c) const;
    QPoint ClampedDragOffset(const QPoint& offset) const;
    void UpdateExtent();
    void DrawItem(QPainter& p, const TComponent* c, const QPoint& offset, bool selected, bool single);
    void FinishDrag(const QPoint& pos);

    QPointer<IDesigner> m_designer;
    const QMetaObject* m_placing = nullptr;
    TDrag m_drag = TDrag::None;
    QPoint m_pressPos;
    QPoint m_dragOffset;
    QList<TComponent*> m_selectionAtPress; // for Ctrl + rubber band
    QRubberBand* m_rubberBand = nullptr;
};
