// The index definition dialog's Fulltext page: the columns to index, the
// minimum relevance, the dictionary table with its separators, and the
// settings of a new dictionary with the password of its encryption.
#include "indexdef/ostnewindexdlg.h"

#include "setup/ostpasswordchangedlg.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

QWidget* TIndexDefinition::CreateFulltextPage() {
    auto* page = new QWidget;
    m_fulltextList = new QListWidget;
    m_fulltextList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    connect(m_fulltextList, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        if (m_showing) return;
        m_core.SetChecked(item->text(), item->checkState() == Qt::Checked);
    });
    m_checkBtn = new QPushButton(QStringLiteral("Check Selected"));
    m_uncheckBtn = new QPushButton(QStringLiteral("Uncheck Selected"));
    for (QPushButton* b : {m_checkBtn, m_uncheckBtn}) b->setAutoDefault(false);
    connect(m_checkBtn, &QPushButton::clicked, this, [this] { SetFulltextChecks(true); });
    connect(m_uncheckBtn, &QPushButton::clicked, this, [this] { SetFulltextChecks(false); });

    m_relevanceSpin = new QSpinBox;
    m_relevanceSpin->setRange(0, 100);
    connect(m_relevanceSpin, &QSpinBox::valueChanged, this, [this](int value) {
        if (!m_showing) m_core.MinRelevance = value;
    });
    m_dictionaryBox = new QComboBox;
    connect(m_dictionaryBox, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (m_showing) return;
        m_core.DictionaryIndex = index;
        UpdateVisibleControls();
    });
    m_separatorsLabel = new QLabel(QStringLiteral("Separators"));
    m_separatorsEdit = new QLineEdit;
    m_separatorsLabel->setBuddy(m_separatorsEdit);
    connect(m_separatorsEdit, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (!m_showing) m_core.Separators = text;
    });

    m_newDictionaryGroup = new QGroupBox(QStringLiteral("New Dictionary Options"));
    m_dicNameLabel = new QLabel(QStringLiteral("Table Name"));
    m_dicNameEdit = new QLineEdit;
    m_dicNameLabel->setBuddy(m_dicNameEdit);
    connect(m_dicNameEdit, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (!m_showing) m_core.NewDictionaryName = text;
    });
    m_keywordLabel = new QLabel(QStringLiteral("Maximum Keyword Length"));
    m_keywordSpin = new QSpinBox;
    m_keywordSpin->setRange(10, 32768);
    m_keywordLabel->setBuddy(m_keywordSpin);
    connect(m_keywordSpin, &QSpinBox::valueChanged, this, [this](int value) {
        if (!m_showing) m_core.MaxKeywordLength = value;
    });
    m_dicEncryptionLabel = new QLabel(QStringLiteral("Encryption"));
    m_dicEncryptionBox = new QComboBox;
    m_dicEncryptionLabel->setBuddy(m_dicEncryptionBox);
    connect(m_dicEncryptionBox, &QComboBox::currentIndexChanged, this, [this] {
        if (!m_showing) DicEncryptionTypComboBoxChange();
    });
    m_dicKeyBtn = new QPushButton(QStringLiteral("Pwd"));
    m_dicKeyBtn->setAutoDefault(false);
    m_dicKeyBtn->setToolTip(QStringLiteral("Choose a password according to the selected encryption method."));
    connect(m_dicKeyBtn, &QPushButton::clicked, this, &TIndexDefinition::DicEncryptionkeyBtnClick);
    auto* group = new QGridLayout(m_newDictionaryGroup);
    group->addWidget(m_dicNameLabel, 0, 0);
    group->addWidget(m_dicNameEdit, 0, 1, 1, 2);
    group->addWidget(m_keywordLabel, 1, 0);
    group->addWidget(m_keywordSpin, 1, 1, 1, 2);
    group->addWidget(m_dicEncryptionLabel, 2, 0);
    group->addWidget(m_dicEncryptionBox, 2, 1);
    group->addWidget(m_dicKeyBtn, 2, 2);
    group->setColumnStretch(1, 1);

    auto* columnsLabel = new QLabel(QStringLiteral("Check all columns which should be included in the fulltext index"));
    columnsLabel->setWordWrap(true);
    columnsLabel->setBuddy(m_fulltextList);
    auto* checks = new QHBoxLayout;
    checks->addWidget(m_checkBtn);
    checks->addWidget(m_uncheckBtn);
    checks->addStretch();
    auto* settings = new QFormLayout;
    settings->addRow(QStringLiteral("Minimum Relevance (0 - 100)"), m_relevanceSpin);
    settings->addRow(QStringLiteral("Dictionary Table"), m_dictionaryBox);
    settings->addRow(m_separatorsLabel, m_separatorsEdit);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(columnsLabel);
    layout->addWidget(m_fulltextList, 1);
    layout->addLayout(checks);
    layout->addLayout(settings);
    layout->addWidget(m_newDictionaryGroup);
    return page;
}

void TIndexDefinition::ShowFulltextColumns() {
    m_showing = true;
    m_fulltextList->clear();
    for (const TIndexDefinitionCore::TFulltextColumn& c : m_core.FulltextColumns) {
        auto* item = new QListWidgetItem(c.Name, m_fulltextList);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(c.Checked ? Qt::Checked : Qt::Unchecked);
    }
    m_relevanceSpin->setValue(m_core.MinRelevance);
    m_dictionaryBox->clear();
    m_dictionaryBox->addItems(m_core.DictionaryItems);
    m_dictionaryBox->setCurrentIndex(m_core.DictionaryIndex);
    m_separatorsLabel->setVisible(m_core.SeparatorsVisible());
    m_separatorsEdit->setVisible(m_core.SeparatorsVisible());
    m_separatorsEdit->setText(m_core.Separators);
    m_dicNameEdit->setText(m_core.NewDictionaryName);
    m_keywordSpin->setValue(m_core.MaxKeywordLength);
    m_dicEncryptionBox->clear();
    m_dicEncryptionBox->addItems(m_core.EncryptionItems);
    m_dicEncryptionBox->setCurrentIndex(m_core.EncryptionIndex);
    m_showing = false;
}

// "Check Selected" / "Uncheck Selected": every selected row.
void TIndexDefinition::SetFulltextChecks(bool checked) {
    for (QListWidgetItem* item : m_fulltextList->selectedItems())
        item->setCheckState(checked ? Qt::Checked : Qt::Unchecked);
}

void TIndexDefinition::UpdateVisibleControls() { SetNewDictionaryBoxMode(m_core.NewDictionaryBoxEnabled()); }

void TIndexDefinition::SetNewDictionaryBoxMode(bool enabled) {
    for (QWidget* w : std::initializer_list<QWidget*>{m_dicNameLabel, m_dicNameEdit, m_keywordLabel, m_keywordSpin,
                                                      m_dicEncryptionLabel, m_dicEncryptionBox})
        w->setEnabled(enabled);
    DicEncryptionTypComboBoxChange();
    if (!enabled) m_dicKeyBtn->setEnabled(false);
}

void TIndexDefinition::DicEncryptionTypComboBoxChange() {
    m_core.DicEncryptionTypComboBoxChange(m_dicEncryptionBox->currentIndex());
    m_dicKeyBtn->setEnabled(m_core.NewDictionaryBoxEnabled() && m_core.EncryptionKeyEnabled());
}

void TIndexDefinition::DicEncryptionkeyBtnClick() {
    TOstPasswordChangeDialog dialog(this);
    dialog.SetEncryptionMethod(m_core.GetDictionaryEncryption());
    m_core.DictionaryKey = dialog.exec() == QDialog::Accepted ? dialog.Password() : QString();
}
