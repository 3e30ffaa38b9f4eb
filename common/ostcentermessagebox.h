// Centring of a modal message box over the form that opened it.
//
// A form that wants its message box centred over itself stores the box's
// caption, posts itself OstCenterMessageEvent and then runs the modal box.
// The posted event is delivered by the box's own modal loop, after the box is
// on screen; its handler moves the box with CenterWindow.
#pragma once

#include <QEvent>
#include <QMessageBox>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>

class QWidget;

// A rectangle in screen coordinates given by its edges; Right and Bottom lie
// just outside the rectangle, so the width is Right - Left.
struct TRect {
    int Left;
    int Top;
    int Right;
    int Bottom;

    static TRect FromQRect(const QRect& r) { return {r.x(), r.y(), r.x() + r.width(), r.y() + r.height()}; }
    QRect ToQRect() const { return QRect(Left, Top, Right - Left, Bottom - Top); }
    bool operator==(const TRect&) const = default;
};

// The private event a form posts itself before showing a centred message box.
inline constexpr QEvent::Type OstCenterMessageEvent = QEvent::Type(QEvent::User + 2048);

// Where a box of the given size goes when centred over owner on a screen of
// the given size whose origin is (0, 0). Per axis: the box's offset inside
// the owner is halved with integer division (truncating toward zero, so a box
// wider than its owner gets a negative offset); a negative position becomes 0;
// otherwise a box that would reach past the screen's far edge is made flush
// with it. A box larger than the screen therefore keeps a negative position.
QPoint CenteredPosition(const TRect& owner, QSize box, QSize screen);

// Moves the first visible top-level dialog whose caption is exactly Caption
// so that it stands centred over Rect (CenteredPosition with the dialog's
// frame size and the full size of the screen the dialog is on). Only the
// position changes. Without such a dialog nothing happens.
void CenterWindow(const TRect& Rect, const QString& Caption);

// The handler of OstCenterMessageEvent for one owner. It filters the owner's
// events; when the posted event arrives it centres the box captioned
// MessageCaption() over the owner's window.
class TCenteredMessageBox : public QObject {
    Q_OBJECT
public:
    // The owner's handler, created and installed on first use; it lives as
    // long as the owner.
    static TCenteredMessageBox* For(QWidget* owner);

    // Stores the caption and posts OstCenterMessageEvent to the owner.
    void PostCentering(const QString& caption);
    const QString& MessageCaption() const { return m_messageCaption; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit TCenteredMessageBox(QWidget* owner);
    void ChangeMessageBoxPosition();

    QWidget* m_owner;
    QString m_messageCaption;
};

// Shows a modal, topmost message box with the caption, plain text, icon and
// buttons, owned by owner and centred over owner's window while it runs, and
// returns the StandardButton pressed. Without an owner the box is shown where
// Qt puts it.
int ShowCenteredMessage(QWidget* owner, const QString& caption, const QString& text, QMessageBox::Icon icon,
                        QMessageBox::StandardButtons buttons);
