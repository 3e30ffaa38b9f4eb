// The General page's table properties: name, level, capacity, encryption
// with its password, and collation. The controls are written to the working
// table when they are left (or, for the collation, changed); reading them
// back happens whenever the working table is made anew.
#include "designer/osttabledesigner.h"

#include "designer/core/osttableprops.h"
#include "designer/ostcolumnpropseditor.h"
#include "engine/ostdataset.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFocusEvent>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <climits>

namespace {

QLabel* BuddyLabel(const QString& text, QWidget* buddy) {
    auto* label = new QLabel(text);
    label->setBuddy(buddy);
    return label;
}

} // namespace

QFrame* TOstTableDesigner::CreateTablePropertiesPanel() {
    auto* panel = new QFrame;
    panel->setFrameShape(QFrame::StyledPanel);

    m_tableNameEdit = new QLineEdit(panel);
    m_tableNameEdit->setToolTip(QStringLiteral("Name of the database table (up to 40 characters)"));
    m_tableLevelSpinEdit = new QSpinBox(panel);
    m_tableLevelSpinEdit->setRange(OstMinTableLevel, OstMaxTableLevel);
    m_tableLevelSpinEdit->setToolTip(QStringLiteral(
        "Higher table levels provide more functionality, lower ones more backwards compatibility."));
    m_capacityComboBox = new QComboBox(panel);
    m_capacityComboBox->setEditable(true);
    m_capacityComboBox->setInsertPolicy(QComboBox::NoInsert);
    m_capacityComboBox->addItems(CapacityItems());
    m_capacityComboBox->setToolTip(QStringLiteral(
        "Approximate maximum number of rows for the table. Lower value enhances performance."));
    m_encryptionTypComboBox = new QComboBox(panel);
    m_encryptionKeyBtn = new QPushButton(QStringLiteral("Pwd"), panel);
    m_encryptionKeyBtn->setAutoDefault(false);
    m_encryptionKeyBtn->setToolTip(
        QStringLiteral("Choose a password according to the selected encryption method."));
    m_collationsComboBox = new QComboBox(panel);
    TColumnPropertyEditor::FillCollationComboBox(m_collationsComboBox, true, false);
    m_collationsComboBox->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_collationsComboBox->setMinimumContentsLength(14);
    m_accentCheckBox = new QCheckBox(QStringLiteral("Sensitive for diacritics (accents)"), panel);
    m_caseCheckBox = new QCheckBox(QStringLiteral("Case sensitive"), panel);

    auto* encryption = new QHBoxLayout;
    encryption->addWidget(m_encryptionTypComboBox, 1);
    encryption->addWidget(m_encryptionKeyBtn);
    auto* sensitivity = new QHBoxLayout;
    sensitivity->addWidget(m_accentCheckBox);
    sensitivity->addWidget(m_caseCheckBox);
    sensitivity->addStretch();
    auto* grid = new QGridLayout(panel);
    grid->addWidget(BuddyLabel(QStringLiteral("Table Name"), m_tableNameEdit), 0, 0);
    grid->addWidget(m_tableNameEdit, 0, 1);
    grid->addWidget(BuddyLabel(QStringLiteral("Level"), m_tableLevelSpinEdit), 0, 2);
    grid->addWidget(m_tableLevelSpinEdit, 0, 3);
    grid->addWidget(BuddyLabel(QStringLiteral("Capacity"), m_capacityComboBox), 0, 4);
    grid->addWidget(m_capacityComboBox, 0, 5);
    grid->addWidget(BuddyLabel(QStringLiteral("Encryption"), m_encryptionTypComboBox), 1, 0);
    grid->addLayout(encryption, 1, 1);
    grid->addWidget(BuddyLabel(QStringLiteral("Collation"), m_collationsComboBox), 1, 2);
    grid->addWidget(m_collationsComboBox, 1, 3, 1, 3);
    grid->addLayout(sensitivity, 2, 3, 1, 3);
    grid->setColumnStretch(1, 3);
    grid->setColumnStretch(5, 2);

    // Leaving a control writes the properties.
    for (QWidget* w :
         {static_cast<QWidget*>(m_tableNameEdit), static_cast<QWidget*>(m_tableLevelSpinEdit),
          static_cast<QWidget*>(m_capacityComboBox), static_cast<QWidget*>(m_encryptionTypComboBox)})
        w->installEventFilter(this);
    connect(m_accentCheckBox, &QCheckBox::clicked, this, &TOstTableDesigner::TablePropertiesEditExit);
    connect(m_caseCheckBox, &QCheckBox::clicked, this, &TOstTableDesigner::TablePropertiesEditExit);
    connect(m_collationsComboBox, &QComboBox::currentIndexChanged, this,
            &TOstTableDesigner::CollationsComboBoxChange);
    connect(m_tableLevelSpinEdit, &QSpinBox::valueChanged, this,
            &TOstTableDesigner::TableLevelSpinEditChange);
    connect(m_encryptionTypComboBox, &QComboBox::currentIndexChanged, this,
            &TOstTableDesigner::EncryptionTypComboBoxChange);
    connect(m_encryptionKeyBtn, &QPushButton::clicked, this, &TOstTableDesigner::EncryptionkeyBtnClick);
    return panel;
}

bool TOstTableDesigner::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusOut && !m_closing &&
        (watched == m_tableNameEdit || watched == m_tableLevelSpinEdit || watched == m_capacityComboBox ||
         watched == m_encryptionTypComboBox)) {
        // Opening a list or another window is not leaving the control.
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason)
            TablePropertiesEditExit();
    }
    return QDialog::eventFilter(watched, event);
}

// ---------------------------------------------------------------- working table to controls

void TOstTableDesigner::GetTableProperties() {
    TOstTable* working = m_core->WorkingTable();
    if (!working) return;
    m_readingProperties = true;
    m_tableNameEdit->setText(working->GetTableName());
    UpdateCaption();
    m_capacityComboBox->setEditText(FormatCapacity(working->GetCapacity()));
    const int level = working->GetTableLevel();
    m_tableLevelSpinEdit->setValue(level);

    QStringList methods;
    GetEncryptionMethods(methods, level, false);
    m_encryptionTypComboBox->clear();
    m_encryptionTypComboBox->addItems(methods);
    const int method =
        m_core->NewTable() ? 0 : methods.indexOf(GetEncryptionMethodName(working->GetEncryptionMethod()));
    m_encryptionTypComboBox->setCurrentIndex(qMax(0, method));
    EncryptionTypComboBoxChange();

    QString collation = working->GetCollationName();
    if (collation.isEmpty()) collation = EngineCollation();
    const TCollationParts parts = SplitCollationName(collation);
    int entry = m_collationsComboBox->findText(parts.Base);
    if (entry < 0) entry = m_collationsComboBox->findText(EngineCollation());
    m_collationsComboBox->setCurrentIndex(entry);
    m_caseCheckBox->setChecked(parts.CaseSensitive);
    m_accentCheckBox->setChecked(parts.AccentSensitive);
    TableLevelSpinEditChange();
    m_columnPropertyEditor->SetTableLevel(level);
    m_columnPropertyEditor->SetTableCollation(collation);
    m_readingProperties = false;
}

// ---------------------------------------------------------------- controls to working table

QString TOstTableDesigner::GetCollationInfo() const {
    const QString name = BuildCollationName(m_collationsComboBox->currentText(), m_caseCheckBox->isChecked(),
                                            m_accentCheckBox->isChecked());
    return name.isEmpty() ? EngineCollation() : name;
}

bool TOstTableDesigner::SetTableProperties() {
    TOstTable* working = m_core->WorkingTable();
    if (!working || m_core->ReadOnlyView()) return true;
    working->SetTableName(m_tableNameEdit->text());
    UpdateCaption();
    working->SetCollationName(GetCollationInfo());
    working->SetEncryptionMethod(GetEncryptionMethodFromMethodName(m_encryptionTypComboBox->currentText()));

    const int level = m_tableLevelSpinEdit->value();
    if (level != working->GetTableLevel()) {
        working->SetTableLevel(level);
        QStringList methods;
        GetEncryptionMethods(methods, level, false);
        // A method the level does not offer falls back to the default, and its key goes.
        if (!methods.contains(GetEncryptionMethodName(working->GetEncryptionMethod()))) {
            working->SetEncryptionMethod(emDefault);
            m_core->SetEncryptionKey(QString());
        }
        m_readingProperties = true;
        m_encryptionTypComboBox->clear();
        m_encryptionTypComboBox->addItems(methods);
        m_encryptionTypComboBox->setCurrentIndex(
            qMax(0, methods.indexOf(GetEncryptionMethodName(working->GetEncryptionMethod()))));
        m_readingProperties = false;
        EncryptionTypComboBoxChange();
    }
    m_columnPropertyEditor->SetTableLevel(level);
    m_columnPropertyEditor->SetTableCollation(working->GetCollationName());
    UpdateActions();

    // Only the lower bound is tested; a number beyond the 32-bit range is no number.
    const qint64 capacity = ParseCapacity(m_capacityComboBox->currentText());
    if (capacity >= OstMinCapacity && capacity <= INT_MAX) {
        working->SetCapacity(static_cast<int>(capacity));
        return true;
    }
    ShowErrorMsg(DesignerText::CapacityRange().arg(OstMinCapacity).arg(INT_MAX));
    m_capacityComboBox->setFocus();
    return false;
}

// ---------------------------------------------------------------- handlers

void TOstTableDesigner::TablePropertiesEditExit() {
    if (m_readingProperties || m_inPropertiesExit) return;
    m_inPropertiesExit = true;
    Guarded([this] { SetTableProperties(); });
    m_inPropertiesExit = false;
}

void TOstTableDesigner::CollationsComboBoxChange() {
    TablePropertiesEditExit();
}

// Collations need table level 6.
void TOstTableDesigner::TableLevelSpinEditChange() {
    const bool collations = OstLevel::HasCollations(m_tableLevelSpinEdit->value());
    m_collationsComboBox->setEnabled(collations);
    m_accentCheckBox->setEnabled(collations);
    m_caseCheckBox->setEnabled(collations);
}

// From "Protection" on, the table has a password: choosing such a method
// asks for it at once; without one, the method goes back to what it was.
void TOstTableDesigner::EncryptionTypComboBoxChange() {
    if (!m_readingProperties && !m_closing && m_core->WorkingTable() && !m_core->ReadOnlyView()) {
        bool accepted = true;
        Guarded([&] {
            accepted = m_core->EncryptionMethodChosen(
                GetEncryptionMethodFromMethodName(m_encryptionTypComboBox->currentText()));
        });
        if (!accepted) {
            m_readingProperties = true;
            m_encryptionTypComboBox->setCurrentIndex(qMax(0, m_encryptionTypComboBox->findText(
                GetEncryptionMethodName(m_core->WorkingTable()->GetEncryptionMethod()))));
            m_readingProperties = false;
        }
        m_core->UpdateDirtyFlags();
    }
    const int protection = m_encryptionTypComboBox->findText(GetEncryptionMethodName(emProtection));
    m_encryptionKeyBtn->setEnabled(protection >= 0 && m_encryptionTypComboBox->currentIndex() >= protection);
}

void TOstTableDesigner::EncryptionkeyBtnClick() {
    Guarded([this] {
        TOstTable* working = m_core->WorkingTable();
        working->SetEncryptionMethod(
            GetEncryptionMethodFromMethodName(m_encryptionTypComboBox->currentText()));
        m_core->SetEncryptionKey(GetEncryptionKey(working->GetEncryptionMethod()));
    });
}

void TOstTableDesigner::FocusTableName() {
    m_pages->setCurrentWidget(m_generalPage);
    m_tableNameEdit->setFocus();
}
