// The query import form; the copy is ImportQuery's (migration/core).
#include "migration/ostqueryimportfrm.h"

#include "common/ostdialogservice.h"
#include "migration/core/ostimportcore.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

TQueryImportBrownieFrm::TQueryImportBrownieFrm(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Import Query"));
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout;
    m_source = new QComboBox;
    form->addRow(QStringLiteral("&Source query:"), m_source);
    layout->addLayout(form);
    layout->addWidget(new QLabel(QStringLiteral("SQL statement and parameters:")));
    m_sql = new QPlainTextEdit;
    m_sql->setReadOnly(true);
    m_sql->setLineWrapMode(QPlainTextEdit::NoWrap);
    layout->addWidget(m_sql);
    auto* buttons = new QDialogButtonBox;
    m_ok = buttons->addButton(QStringLiteral("&Ok"), QDialogButtonBox::AcceptRole);
    m_cancel = buttons->addButton(QStringLiteral("&Cancel"), QDialogButtonBox::RejectRole);
    m_ok->setDefault(true);
    layout->addWidget(buttons);
    connect(m_ok, &QPushButton::clicked, this, &TQueryImportBrownieFrm::OkBtnClick);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_source, &QComboBox::currentIndexChanged, this, &TQueryImportBrownieFrm::SourceComboChange);
    resize(520, 320);
}

TQueryImportBrownieFrm::~TQueryImportBrownieFrm() = default;

void TQueryImportBrownieFrm::showEvent(QShowEvent* event) {
    // The target is set after construction: the list is filled when the form shows.
    m_source->clear();
    for (TQuery* q : ClassicQueriesOf(TargetQuery)) m_source->addItem(q->GetName(), q->GetName());
    m_ok->setEnabled(m_source->count() > 0);
    SourceComboChange();
    QDialog::showEvent(event);
}

TQuery* TQueryImportBrownieFrm::SelectedSource() const {
    for (TQuery* q : ClassicQueriesOf(TargetQuery))
        if (q->GetName() == m_source->currentData().toString()) return q;
    return nullptr;
}

void TQueryImportBrownieFrm::SourceComboChange() {
    const TQuery* q = SelectedSource();
    if (!q) {
        m_sql->clear();
        return;
    }
    QString text = q->SQLText();
    if (!q->GetParamLines().isEmpty()) text += QStringLiteral("\n\n-- Parameters:\n") + q->GetParamLines().join(u'\n');
    m_sql->setPlainText(text);
}

void TQueryImportBrownieFrm::OkBtnClick() {
    TQuery* source = SelectedSource();
    if (!source || !TargetQuery) return;
    ImportQuery(*source, *TargetQuery);
    OstDialogs().MessageBox(this, QStringLiteral("Information"),
                            QStringLiteral("Please check the imported SQL statement before activating the query"),
                            QMessageBox::Information, QMessageBox::Ok);
    accept();
}
