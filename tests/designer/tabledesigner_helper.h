// Driving the table designer form from tests: message boxes answered from a
// script, the difference dialog answered when it shows, the list's rows as
// text, and focus moves that count as leaving a control.
#pragma once

#include "../common/collected_dialogs.h"
#include "../common/modal_helper.h"
#include "designer_helper.h"
#include "common/ostscripteddialogs.h"
#include "designer/ostdifferencedlg.h"
#include "designer/osttabledesigner.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>

// The scripted dialog service for one test, with the message boxes it
// answered as text.
class TDesignerDialogs : public TCollectedDialogs {
public:
    TScriptedDialogService& operator*() { return service; }
    TScriptedDialogService* operator->() { return &service; }
    const QStringList& Failures() const { return failures; }
    // "caption: text" of every message box shown so far.
    QStringList Messages() const {
        QStringList list;
        for (const auto& call : service.Calls())
            if (call.Kind == TScriptedDialogService::TCallKind::Message) list.append(call.Caption + ": " + call.Text);
        return list;
    }
    QString LastMessage() const { return Messages().isEmpty() ? QString() : Messages().last(); }
};

// The designer form on PeopleTable, its message boxes answered from a
// script; tests bind its parts: auto& [people, dialogs, designer] = fixture.
struct PeopleInDesigner {
    PeopleTable people;
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    PeopleInDesigner() { designer.SetOstDataset(people.table.get()); }
};

inline QStringList Rows(const QTreeWidget* list, int columns) {
    QStringList rows;
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        QStringList cells;
        for (int c = 0; c < columns; ++c)
            cells.append(list->topLevelItem(i)->text(c));
        rows.append(cells.join(u'|'));
    }
    return rows;
}

// The column list: "position|name|type|size".
inline QStringList ColumnRows(const TOstTableDesigner& designer) {
    return Rows(designer.ColumnListView(), 4);
}

// Focus moves only inside the active window; a dialog that was shown over
// the designer may have left it inactive.
inline bool Reactivate(QWidget& w) {
    if (QApplication::activeWindow() == w.window()) return true;
    w.window()->activateWindow();
    return QTest::qWaitForWindowActive(w.window());
}

// Moves the focus to the column list: the control that had it is left.
inline void LeaveToList(TOstTableDesigner& designer) {
    Reactivate(designer);
    designer.ColumnListView()->setFocus(Qt::TabFocusReason);
    QCoreApplication::processEvents();
}

// Types text into a control as a user would, over what it held, and leaves
// it for next (in the designer, the column list when next is not given).
inline void TypeAndLeave(QWidget& window, QWidget* control, const QString& text, QWidget* next = nullptr) {
    QVERIFY(Reactivate(window));
    control->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(control->hasFocus());
    if (auto* combo = qobject_cast<QComboBox*>(control); combo && combo->lineEdit()) combo->lineEdit()->selectAll();
    if (auto* spin = qobject_cast<QAbstractSpinBox*>(control)) spin->selectAll();
    if (auto* edit = qobject_cast<QLineEdit*>(control)) edit->selectAll();
    QTest::keyClicks(control, text);
    if (!next)
        if (auto* designer = qobject_cast<TOstTableDesigner*>(&window)) next = designer->ColumnListView();
    Reactivate(window);
    next->setFocus(Qt::TabFocusReason);
    QCoreApplication::processEvents();
}

// Answers the next difference dialog with "&Ok" (or "&Cancel"); rows gets
// its rows as "column|modification".
inline void AnswerDifferences(QStringList* rows, bool ok = true) {
    WhenShown<TTableStructureDifferenceDlg>(
        [rows, ok](TTableStructureDifferenceDlg* dialog) {
            if (rows) *rows = Rows(dialog->ListView(), 2);
            (ok ? dialog->OkButton() : dialog->CancelButton())->click();
        },
        QStringLiteral("Modifications of Table Structure"));
}

// Clicks Apply with the difference dialog answered; rows as above.
inline void ApplyConfirmed(TOstTableDesigner& designer, QStringList* rows = nullptr) {
    AnswerDifferences(rows, true);
    QTest::mouseClick(designer.ApplyBtn(), Qt::LeftButton);
}
