#include "common/ostcentermessagebox.h"

#include <QApplication>
#include <QDialog>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QWidget>

namespace {

// One axis of CenteredPosition. The far-edge rule applies only when the
// near-edge rule did not fire.
int CenteredCoordinate(int ownerLow, int ownerHigh, int extent, int screenExtent) {
    int pos = ownerLow + (ownerHigh - ownerLow - extent) / 2;
    if (pos < 0)
        pos = 0;
    else if (pos + extent > screenExtent)
        pos = screenExtent - extent;
    return pos;
}

QDialog* FindDialog(const QString& caption) {
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* w : windows) {
        auto* dialog = qobject_cast<QDialog*>(w);
        if (dialog && dialog->isVisible() && dialog->windowTitle() == caption)
            return dialog;
    }
    return nullptr;
}

} // namespace

QPoint CenteredPosition(const TRect& owner, QSize box, QSize screen) {
    return QPoint(CenteredCoordinate(owner.Left, owner.Right, box.width(), screen.width()),
                  CenteredCoordinate(owner.Top, owner.Bottom, box.height(), screen.height()));
}

void CenterWindow(const TRect& Rect, const QString& Caption) {
    QDialog* dialog = FindDialog(Caption);
    if (!dialog)
        return;
    // The whole screen counts, as a screen size measured from the origin;
    // the space taken by panels and docks is not subtracted.
    QScreen* screen = dialog->screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    dialog->move(CenteredPosition(Rect, dialog->frameGeometry().size(), screen->geometry().size()));
}

TCenteredMessageBox::TCenteredMessageBox(QWidget* owner) : QObject(owner), m_owner(owner) {
    owner->installEventFilter(this);
}

TCenteredMessageBox* TCenteredMessageBox::For(QWidget* owner) {
    if (auto* existing = owner->findChild<TCenteredMessageBox*>(QString(), Qt::FindDirectChildrenOnly))
        return existing;
    return new TCenteredMessageBox(owner);
}

void TCenteredMessageBox::PostCentering(const QString& caption) {
    m_messageCaption = caption;
    QCoreApplication::postEvent(m_owner, new QEvent(OstCenterMessageEvent));
}

bool TCenteredMessageBox::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_owner && event->type() == OstCenterMessageEvent) {
        ChangeMessageBoxPosition();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void TCenteredMessageBox::ChangeMessageBoxPosition() {
    CenterWindow(TRect::FromQRect(m_owner->window()->frameGeometry()), m_messageCaption);
}

int ShowCenteredMessage(QWidget* owner, const QString& caption, const QString& text, QMessageBox::Icon icon,
                        QMessageBox::StandardButtons buttons) {
    QPointer<QMessageBox> box = new QMessageBox(icon, caption, text, buttons, owner);
    box->setTextFormat(Qt::PlainText);
    box->setWindowFlag(Qt::WindowStaysOnTopHint);
    // Nothing may process events between the post and the box's loop: the
    // event has to find the box on screen.
    if (owner)
        TCenteredMessageBox::For(owner)->PostCentering(caption);
    const int pressed = box->exec();
    // The owner may have taken the box with it while the loop ran.
    if (!box)
        return QMessageBox::NoButton;
    delete box.data();
    return pressed;
}
