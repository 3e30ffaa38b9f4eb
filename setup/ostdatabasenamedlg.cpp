#include "setup/ostdatabasenamedlg.h"

#include "engine/ostdatabase.h"
#include "setup/ostselectdbdlg.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

TDatabaseNameDlg::TDatabaseNameDlg(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("DatabaseNameDlg"));
    setWindowTitle(QStringLiteral("Database Name"));
    auto* text = new QLabel(QStringLiteral("Choose a database name  from the list or browse for a new location."), this);
    text->setWordWrap(true);
    m_names = new QComboBox(this);
    m_names->setObjectName(QStringLiteral("NameBox"));
    m_names->setEditable(true);
    m_names->setInsertPolicy(QComboBox::NoInsert);
    m_names->setMinimumContentsLength(32);
    text->setBuddy(m_names);
    m_select = new QToolButton(this);
    m_select->setObjectName(QStringLiteral("SelectBtn"));
    m_select->setText(QStringLiteral("..."));
    m_select->setToolTip(QStringLiteral("Browse for a database (Ctrl+B)"));
    m_select->setShortcut(QKeySequence(QStringLiteral("Ctrl+B")));
    m_select->setFocusPolicy(Qt::StrongFocus);
    m_ok = new QPushButton(QStringLiteral("&OK"), this);
    m_ok->setObjectName(QStringLiteral("OKBtn"));
    m_ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    auto* row = new QHBoxLayout;
    row->addWidget(m_names, 1);
    row->addWidget(m_select);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(text);
    layout->addLayout(row);
    layout->addStretch();
    layout->addLayout(buttons);
    connect(m_select, &QToolButton::clicked, this, &TDatabaseNameDlg::SelectBtnClick);
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    for (int i = 0; TOstDatabase* db = GetOstDatabase(i); ++i)
        if (!db->GetDatabaseName().isEmpty()) m_names->addItem(db->GetDatabaseName());
    if (m_names->count() > 0) m_names->setCurrentIndex(0);
}

QString TDatabaseNameDlg::GetDatabaseName() const { return m_names->currentText(); }

void TDatabaseNameDlg::SetDatabaseName(const QString& name) {
    int index = m_names->findText(name, Qt::MatchFixedString | Qt::MatchCaseSensitive);
    if (index < 0 && !name.isEmpty()) {
        m_names->addItem(name);
        index = m_names->count() - 1;
    }
    if (index >= 0) m_names->setCurrentIndex(index);
}

void TDatabaseNameDlg::SelectBtnClick() {
    QString location;
    SelectDatabase(QString(), location);
    if (!location.isEmpty()) SetDatabaseName(location);
}
