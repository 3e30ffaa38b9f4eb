// Answering real modal dialogs from a test: a polling timer waits for the
// dialog to be on screen and hands it to a callback, which is expected to
// close it. A dialog that never shows fails the test instead of hanging it,
// and a dialog the callback left open is closed.
#pragma once

#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QListWidget>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <QtTest>
#include <functional>

// Shows w as the active window, so that focus moves as a user's would.
inline bool ShowActive(QWidget& w) {
    w.show();
    w.activateWindow();
    return QTest::qWaitForWindowActive(&w);
}

// The texts of a list's or a combo box's items, in order.
inline QStringList ItemTexts(const QListWidget* list) {
    QStringList items;
    for (int i = 0; i < list->count(); ++i) items.append(list->item(i)->text());
    return items;
}
inline QStringList ItemTexts(const QComboBox* combo) {
    QStringList items;
    for (int i = 0; i < combo->count(); ++i) items.append(combo->itemText(i));
    return items;
}

template <class T> T* VisibleTopLevel(const QString& caption = QString()) {
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* w : windows) {
        auto* t = qobject_cast<T*>(w);
        if (t && t->isVisible() && (caption.isNull() || t->windowTitle() == caption))
            return t;
    }
    return nullptr;
}

// Calls answer with the first visible top-level T (captioned caption, when
// given) once the running modal loop has had its first turn. Start it right
// before the call that opens the dialog.
template <class T> void WhenShown(std::function<void(T*)> answer, const QString& caption = QString()) {
    auto* timer = new QTimer;
    timer->setInterval(20);
    const QDeadlineTimer deadline(5000);
    QObject::connect(timer, &QTimer::timeout, timer, [=] {
        T* dialog = VisibleTopLevel<T>(caption);
        if (!dialog && !deadline.hasExpired())
            return;
        timer->stop();
        timer->deleteLater();
        if (!dialog) {
            if (QWidget* modal = QApplication::activeModalWidget())
                modal->close();
            QTest::qFail("the expected dialog never showed", __FILE__, __LINE__);
            return;
        }
        QPointer<T> guard(dialog);
        answer(dialog);
        if (guard && guard->isVisible() && guard == QApplication::activeModalWidget())
            guard->close();
    });
    timer->start();
}
