#include "designer/ostdifferencedlg.h"

#include "common/ostcentermessagebox.h"
#include "designer/core/ostmodifications.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTreeWidget>
#include <QVBoxLayout>

TTableStructureDifferenceDlg::TTableStructureDifferenceDlg(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Modifications of Table Structure"));
    m_label = new QLabel(QStringLiteral("The following changes will be applied to the table"), this);
    m_list = new QTreeWidget(this);
    m_list->setColumnCount(2);
    m_list->setHeaderLabels({QStringLiteral("Column"), QStringLiteral("Modification")});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->header()->setStretchLastSection(true);
    m_list->setColumnWidth(0, 60);

    m_notes = new QLabel(this);
    m_notes->setWordWrap(true);
    m_notes->setVisible(false);

    m_ok = new QPushButton(QStringLiteral("&Ok"), this);
    m_ok->setDefault(true);
    m_cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_label);
    layout->addWidget(m_list);
    layout->addWidget(m_notes);
    layout->addLayout(buttons);
    resize(480, 320);
    // "&Ok" has the focus when the dialog opens, not the list.
    m_list->setFocusPolicy(Qt::ClickFocus);
}

void TTableStructureDifferenceDlg::SetModifications(const TModifications& list) {
    m_list->clear();
    QList<QTreeWidgetItem*> rows;
    for (const TModification& m : list)
        rows.append(new QTreeWidgetItem({m.GetColumn(), m.GetText()}));
    if (rows.isEmpty()) rows.append(new QTreeWidgetItem({QString(), NoChangesText()}));
    m_list->addTopLevelItems(rows);
}

void TTableStructureDifferenceDlg::SetNotes(const QStringList& notes) {
    m_notes->setText(notes.join(u'\n'));
    m_notes->setVisible(!notes.isEmpty());
}

bool TTableStructureDifferenceDlg::Execute(QWidget* owner, const TModifications& list, const QStringList& notes) {
    TTableStructureDifferenceDlg dialog(owner);
    if (owner) dialog.setFont(owner->font());
    dialog.SetModifications(list);
    dialog.SetNotes(notes);
    if (owner) {
        // Placed before it shows, and once more when its frame is known.
        QWidget* window = owner->window();
        QScreen* screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen();
        if (screen)
            dialog.move(CenteredPosition(TRect::FromQRect(window->frameGeometry()),
                                         dialog.frameGeometry().size(), screen->geometry().size()));
        TCenteredMessageBox::For(window)->PostCentering(dialog.windowTitle());
    }
    return dialog.exec() == QDialog::Accepted;
}
