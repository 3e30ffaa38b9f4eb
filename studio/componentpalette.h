// The component palette: a tab per palette page, a button per component class
// with its icon and the class name as tooltip, and the arrow button in front
// that goes back to selecting. Clicking a class's button arms it (the next
// click on the canvas creates one there); double-clicking it asks for one at
// once.
#pragma once

#include <QHash>
#include <QWidget>

class QButtonGroup;
class QTabWidget;
class QToolButton;

class TComponentPalette : public QWidget {
    Q_OBJECT
public:
    explicit TComponentPalette(QWidget* parent = nullptr);

    // Reads the pages and classes registered so far and opens the first page a
    // package registered (the first page when none did).
    void Rebuild();

    QStringList Pages() const;
    QString CurrentPage() const;
    void SetCurrentPage(const QString& page);
    // The buttons of a page, in the order of its classes.
    QList<QToolButton*> Buttons(const QString& page) const;
    // The button of a class, nullptr when it is not on the palette.
    QToolButton* Button(const QString& className) const;
    QToolButton* ArrowButton() const { return m_arrow; }

    // The armed class, nullptr when the arrow is down.
    const QMetaObject* SelectedClass() const { return m_selected; }
    void ResetSelection();

signals:
    void classSelected(const QMetaObject* cls);
    void createRequested(const QMetaObject* cls);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ButtonClicked(QToolButton* button);

    QToolButton* m_arrow;
    QTabWidget* m_tabs;
    QButtonGroup* m_group;
    QHash<QToolButton*, const QMetaObject*> m_classes;
    const QMetaObject* m_selected = nullptr;
};
