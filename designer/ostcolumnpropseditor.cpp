#include "designer/ostcolumnpropseditor.h"

#include "common/ostdialogservice.h"
#include "common/osthelp.h"
#include "designer/core/ostcolumnpropscore.h"
#include "engine/ostdatabase.h"
#include "engine/base/sysutils.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFocusEvent>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QMap>
#include <QPlainTextEdit>
#include <QSpinBox>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr int HelpContextColumnEditor = 10100;

QStringList Items(const QComboBox* combo) {
    QStringList items;
    for (int i = 0; i < combo->count(); ++i) items.append(combo->itemText(i));
    return items;
}

void SetItems(QComboBox* combo, const QStringList& items) {
    if (Items(combo) == items) return;
    combo->clear();
    combo->addItems(items);
}

void SetSelection(QComboBox* combo, const QString& text) {
    const int index = text.isEmpty() ? -1 : combo->findText(text, Qt::MatchExactly);
    if (combo->currentIndex() != index) combo->setCurrentIndex(index);
}

void SetEditText(QComboBox* combo, const QString& text) {
    if (combo->currentText() != text) combo->setEditText(text);
}

void SetText(QLineEdit* edit, const QString& text) {
    if (edit->text() != text) edit->setText(text);
}

void SetChecked(QCheckBox* box, bool checked, bool enabled) {
    if (box->isChecked() != checked) box->setChecked(checked);
    box->setEnabled(enabled);
}

void SetSpin(QSpinBox* spin, int min, int max, int value) {
    if (spin->minimum() != min || spin->maximum() != max) spin->setRange(min, max);
    if (spin->value() != value) spin->setValue(value);
}

// A memo's lines; a final line break ends the last line rather than starting one.
QStringList Lines(const QPlainTextEdit* memo) {
    const QString text = memo->toPlainText();
    if (text.isEmpty()) return {};
    QStringList lines = text.split(u'\n');
    if (text.endsWith(u'\n')) lines.removeLast();
    return lines;
}

QComboBox* EditableCombo(QWidget* parent) {
    auto* combo = new QComboBox(parent);
    combo->setEditable(true);
    combo->setInsertPolicy(QComboBox::NoInsert);
    return combo;
}

} // namespace

struct TColumnPropertyEditor::TControls {
    QVBoxLayout* groupLayout = nullptr;
    QMap<TColumnGroup, QWidget*> groups;
    QList<QLabel*> labels;

    QLineEdit* name = nullptr;
    QComboBox* dataType = nullptr;
    QCheckBox* nullable = nullptr;
    QCheckBox* createIndex = nullptr;
    QCheckBox* fulltextIndex = nullptr;
    QSpinBox* length = nullptr;
    QSpinBox* precision = nullptr;
    QComboBox* timePrecision = nullptr;
    QPlainTextEdit* values = nullptr;
    QComboBox* linkedTable = nullptr;
    QToolButton* linkedTableButton = nullptr;
    QCheckBox* enforceIndex = nullptr;
    QComboBox* indication = nullptr;
    QCheckBox* unique = nullptr;
    QComboBox* collation = nullptr;
    QCheckBox* caseSensitive = nullptr;
    QCheckBox* accentSensitive = nullptr;
    QComboBox* calculation = nullptr;
    QLineEdit* calcExpression = nullptr;

    // What leaving a control does.
    QHash<QObject*, std::function<void()>> exits;
    // While the controls are being set, their signals and exits are not the user's.
    bool applying = false;

    QFormLayout* Group(TColumnGroup group, const char* objectName, QWidget* parent) {
        auto* w = new QWidget(parent);
        w->setObjectName(QString::fromLatin1(objectName));
        w->setVisible(false);
        auto* form = new QFormLayout(w);
        form->setContentsMargins(0, 0, 0, 0);
        form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
        groups.insert(group, w);
        groupLayout->addWidget(w);
        return form;
    }
    QLabel* Label(const QString& text, QWidget* buddy) {
        auto* label = new QLabel(text, buddy->parentWidget());
        label->setBuddy(buddy);
        labels.append(label);
        return label;
    }
};

TColumnPropertyEditor::TColumnPropertyEditor(QWidget* host)
    : QWidget(host), m_core(std::make_unique<TColumnPropertyEditorCore>()), m_ui(std::make_unique<TControls>()) {
    setObjectName(QStringLiteral("ColumnPropertyEditor"));
    if (host) {
        if (!host->layout()) {
            auto* hostLayout = new QVBoxLayout(host);
            hostLayout->setContentsMargins(0, 0, 0, 0);
        }
        host->layout()->addWidget(this);
    }
    SetHelpContext(this, HelpContextColumnEditor);
    BuildControls();
    BindControls();
    ApplyControls();
}

TColumnPropertyEditor::~TColumnPropertyEditor() {
    // The controls die after this body: nothing they send may reach the handlers.
    for (auto it = m_ui->exits.cbegin(); it != m_ui->exits.cend(); ++it) it.key()->removeEventFilter(this);
    for (QObject* child : findChildren<QObject*>()) child->disconnect(this);
    m_core->OnChange = nullptr;
    m_core->OnControlsChanged = nullptr;
}

// ---------------------------------------------------------------- building

void TColumnPropertyEditor::BuildControls() {
    TControls& ui = *m_ui;
    auto* layout = new QVBoxLayout(this);
    ui.groupLayout = layout;

    // name and type
    QFormLayout* form = ui.Group(TColumnGroup::NameType, "NameTypeGroup", this);
    QWidget* group = ui.groups[TColumnGroup::NameType];
    ui.name = new QLineEdit(group);
    ui.name->setObjectName(QStringLiteral("NameEdit"));
    ui.dataType = new QComboBox(group);
    ui.dataType->setObjectName(QStringLiteral("DataTypeComboBox"));
    ui.dataType->addItems(TColumnPropertyEditorCore::DataTypeNames());
    ui.dataType->setMaxVisibleItems(ui.dataType->count());
    ui.nullable = new QCheckBox(QStringLiteral("Nullable"), group);
    ui.nullable->setObjectName(QStringLiteral("NullableCheckBox"));
    ui.createIndex = new QCheckBox(QStringLiteral("Create Index"), group);
    ui.createIndex->setObjectName(QStringLiteral("CreateIndexCheckBox"));
    ui.fulltextIndex = new QCheckBox(QStringLiteral("Add to Fulltext Index"), group);
    ui.fulltextIndex->setObjectName(QStringLiteral("FulltextIndexCheckBox"));
    form->addRow(ui.Label(QStringLiteral("Name"), ui.name), ui.name);
    form->addRow(ui.Label(QStringLiteral("Data Type"), ui.dataType), ui.dataType);
    form->addRow(QString(), ui.nullable);
    form->addRow(QString(), ui.createIndex);
    form->addRow(QString(), ui.fulltextIndex);

    // "Length"
    form = ui.Group(TColumnGroup::String, "StringGroup", this);
    ui.length = new QSpinBox(ui.groups[TColumnGroup::String]);
    ui.length->setObjectName(QStringLiteral("LengthEdit"));
    form->addRow(ui.Label(QStringLiteral("Length"), ui.length), ui.length);

    // "Precision": the spin of floats or the list of times
    form = ui.Group(TColumnGroup::Precision, "PrecisionGroup", this);
    group = ui.groups[TColumnGroup::Precision];
    ui.precision = new QSpinBox(group);
    ui.precision->setObjectName(QStringLiteral("PrecisionEdit"));
    ui.timePrecision = new QComboBox(group);
    ui.timePrecision->setObjectName(QStringLiteral("TimePrecisionComboBox"));
    ui.timePrecision->addItems(TColumnPropertyEditorCore::TimePrecisionNames());
    auto* precisionRow = new QHBoxLayout;
    precisionRow->addWidget(ui.precision);
    precisionRow->addWidget(ui.timePrecision);
    form->addRow(ui.Label(QStringLiteral("Precision"), ui.precision), precisionRow);

    // "Values"
    form = ui.Group(TColumnGroup::Enumeration, "EnumerationGroup", this);
    ui.values = new QPlainTextEdit(ui.groups[TColumnGroup::Enumeration]);
    ui.values->setObjectName(QStringLiteral("ValuesMemo"));
    ui.values->setTabChangesFocus(true);
    form->addRow(ui.Label(QStringLiteral("Values"), ui.values), ui.values);

    // "Linked Table"
    form = ui.Group(TColumnGroup::Link, "LinkGroup", this);
    group = ui.groups[TColumnGroup::Link];
    ui.linkedTable = EditableCombo(group);
    ui.linkedTable->setObjectName(QStringLiteral("LinkedTableComboBox"));
    ui.linkedTableButton = new QToolButton(group);
    ui.linkedTableButton->setObjectName(QStringLiteral("LinkedTableButton"));
    ui.linkedTableButton->setText(QStringLiteral("..."));
    ui.enforceIndex = new QCheckBox(QStringLiteral("Enforce Index"), group);
    ui.enforceIndex->setObjectName(QStringLiteral("EnforceIndexCheckBox"));
    auto* linkRow = new QHBoxLayout;
    linkRow->addWidget(ui.linkedTable, 1);
    linkRow->addWidget(ui.linkedTableButton);
    form->addRow(ui.Label(QStringLiteral("Linked Table"), ui.linkedTable), linkRow);
    form->addRow(QString(), ui.enforceIndex);

    // "Indication"
    form = ui.Group(TColumnGroup::AutoInc, "AutoIncGroup", this);
    group = ui.groups[TColumnGroup::AutoInc];
    ui.indication = EditableCombo(group);
    ui.indication->setObjectName(QStringLiteral("IndicationComboBox"));
    ui.indication->setMaxVisibleItems(ui.dataType->maxVisibleItems());
    ui.unique = new QCheckBox(QStringLiteral("Unique"), group);
    ui.unique->setObjectName(QStringLiteral("UniqueCheckBox"));
    form->addRow(ui.Label(QStringLiteral("Indication"), ui.indication), ui.indication);
    form->addRow(QString(), ui.unique);

    // collation
    form = ui.Group(TColumnGroup::Collation, "CollationGroup", this);
    group = ui.groups[TColumnGroup::Collation];
    ui.collation = new QComboBox(group);
    ui.collation->setObjectName(QStringLiteral("CollationComboBox"));
    FillCollationComboBox(ui.collation, true, true);
    ui.caseSensitive = new QCheckBox(QStringLiteral("Case sensitive"), group);
    ui.caseSensitive->setObjectName(QStringLiteral("CaseSensitiveCheckBox"));
    ui.accentSensitive = new QCheckBox(QStringLiteral("Sensitive for diacritics (accents)"), group);
    ui.accentSensitive->setObjectName(QStringLiteral("AccentSensitiveCheckBox"));
    form->addRow(ui.Label(QStringLiteral("Collation"), ui.collation), ui.collation);
    form->addRow(QString(), ui.caseSensitive);
    form->addRow(QString(), ui.accentSensitive);

    // calculation
    form = ui.Group(TColumnGroup::Calculation, "CalculationGroup", this);
    group = ui.groups[TColumnGroup::Calculation];
    ui.calculation = new QComboBox(group);
    ui.calculation->setObjectName(QStringLiteral("CalculationComboBox"));
    ui.calcExpression = new QLineEdit(group);
    ui.calcExpression->setObjectName(QStringLiteral("CalcExpressionEdit"));
    form->addRow(ui.Label(QStringLiteral("Calculation"), ui.calculation), ui.calculation);
    form->addRow(ui.Label(QStringLiteral("Expression"), ui.calcExpression), ui.calcExpression);

    layout->addStretch(1);

    // One label column through all groups.
    int labelWidth = 0;
    for (const QLabel* label : std::as_const(ui.labels)) labelWidth = std::max(labelWidth, label->sizeHint().width());
    for (QLabel* label : std::as_const(ui.labels)) label->setMinimumWidth(labelWidth);
}

void TColumnPropertyEditor::BindControls() {
    TControls* ui = m_ui.get();
    TColumnPropertyEditorCore* core = m_core.get();
    core->OnChange = [this] {
        if (OnChange) OnChange(this);
    };
    core->OnIndicationRequest = [this](QString& indication) {
        if (OnIndicationRequest) OnIndicationRequest(this, indication);
    };
    core->OnMessage = [this](const QString& text) { ShowError(text); };
    core->OnControlsChanged = [this] { ApplyControls(); };

    // A change or click runs its handler with the value the signal brings;
    // an exit runs it with the value the control holds.
    auto onExit = [this, ui](QWidget* control, std::function<void()> handler) {
        control->installEventFilter(this);
        ui->exits.insert(control, std::move(handler));
    };
    auto onClick = [this](QCheckBox* box, void (TColumnPropertyEditorCore::*handler)(bool)) {
        connect(box, &QCheckBox::clicked, this, [this, handler](bool checked) {
            Handle([&] { (m_core.get()->*handler)(checked); });
        });
    };
    auto onClickAndExit = [&](QCheckBox* box, void (TColumnPropertyEditorCore::*handler)(bool)) {
        onClick(box, handler);
        onExit(box, [core, box, handler] { (core->*handler)(box->isChecked()); });
    };

    // name and type
    onExit(ui->name, [core, ui] { core->NameEditExit(ui->name->text()); });
    connect(ui->dataType, &QComboBox::currentIndexChanged, this, [this, core, ui] {
        Handle([&] {
            const TOstFieldDef* before = core->FieldDef();
            core->DataTypeComboBoxChange(ui->dataType->currentText());
            if (core->FieldDef() != before) ui->dataType->setFocus();
        });
    });
    onClickAndExit(ui->nullable, &TColumnPropertyEditorCore::NullableCheckBoxClick);
    onClickAndExit(ui->createIndex, &TColumnPropertyEditorCore::CreateIndexCheckBoxClick);
    onClick(ui->fulltextIndex, &TColumnPropertyEditorCore::FulltextIndexCheckBoxClick);

    // The spin's own text, before the spin corrects it on leaving.
    onExit(ui->length, [core, ui] { core->LengthEditExit(ui->length->text()); });
    connect(ui->precision, &QSpinBox::valueChanged, this, [this, core](int value) {
        Handle([&] { core->PrecisionEditChange(value); });
    });
    onExit(ui->precision, [core, ui] { core->PrecisionEditChange(ui->precision->value()); });
    connect(ui->timePrecision, &QComboBox::currentIndexChanged, this, [this, core](int position) {
        Handle([&] { core->TimePrecisionComboBoxChange(position); });
    });
    onExit(ui->timePrecision, [core, ui] { core->TimePrecisionComboBoxChange(ui->timePrecision->currentIndex()); });

    onExit(ui->values, [core, ui] { core->ValuesMemoExit(Lines(ui->values)); });

    connect(ui->linkedTable, &QComboBox::currentTextChanged, this, [this, core](const QString& text) {
        Handle([&] { core->LinkedTableComboBoxChange(text); });
    });
    onExit(ui->linkedTable, [core, ui] { core->LinkedTableComboBoxChange(ui->linkedTable->currentText()); });
    connect(ui->linkedTableButton, &QToolButton::clicked, this, &TColumnPropertyEditor::LinkedTableButtonClick);
    onClickAndExit(ui->enforceIndex, &TColumnPropertyEditorCore::EnforceIndexCheckBoxClick);

    connect(ui->indication, &QComboBox::currentTextChanged, this, [this, core](const QString& text) {
        Handle([&] { core->IndicationComboBoxChange(text); });
    });
    onExit(ui->indication, [core, ui] { core->IndicationComboBoxChange(ui->indication->currentText()); });
    onClickAndExit(ui->unique, &TColumnPropertyEditorCore::UniqueCheckBoxClick);

    connect(ui->collation, &QComboBox::currentIndexChanged, this, [this, core, ui] {
        Handle([&] { core->CollationComboBoxChange(ui->collation->currentText()); });
    });
    onExit(ui->collation, [core, ui] { core->CollationComboBoxChange(ui->collation->currentText()); });
    onClickAndExit(ui->caseSensitive, &TColumnPropertyEditorCore::CaseSensitiveCheckBoxClick);
    onClickAndExit(ui->accentSensitive, &TColumnPropertyEditorCore::AccentSensitiveCheckBoxClick);

    connect(ui->calcExpression, &QLineEdit::textChanged, this, [this, core](const QString& text) {
        Handle([&] { core->CalcExpressionEditChange(text); });
    });
    connect(ui->calculation, &QComboBox::currentIndexChanged, this, [this, core](int position) {
        Handle([&] { core->CalculationComboBoxChange(position); });
    });
}

// ---------------------------------------------------------------- showing the core

void TColumnPropertyEditor::ApplyControls() {
    TControls& ui = *m_ui;
    if (ui.applying) return;
    ui.applying = true;
    const TColumnControls& c = m_core->Controls();

    SetText(ui.name, c.Name);
    ui.name->setEnabled(c.NameEnabled);
    SetSelection(ui.dataType, c.DataType);
    ui.dataType->setEnabled(c.DataTypeEnabled);
    SetChecked(ui.nullable, c.Nullable, c.NullableEnabled);
    SetChecked(ui.createIndex, c.CreateIndex, c.CreateIndexEnabled);
    SetChecked(ui.fulltextIndex, c.FulltextIndex, c.FulltextIndexEnabled);

    SetSpin(ui.length, c.LengthMin, c.LengthMax, c.Length);

    SetSpin(ui.precision, c.PrecisionMin, c.PrecisionMax, c.Precision);
    ui.precision->setVisible(c.PrecisionEditVisible);
    if (ui.timePrecision->currentIndex() != c.TimePrecision) ui.timePrecision->setCurrentIndex(c.TimePrecision);
    ui.timePrecision->setVisible(c.TimePrecisionVisible);

    if (Lines(ui.values) != c.Values) ui.values->setPlainText(c.Values.join(u'\n'));

    SetItems(ui.linkedTable, c.LinkedTables);
    SetEditText(ui.linkedTable, c.LinkedTable);
    ui.linkedTableButton->setVisible(c.LinkedTableButtonVisible);
    SetChecked(ui.enforceIndex, c.EnforceIndex, true);

    SetItems(ui.indication, c.Indications);
    SetEditText(ui.indication, c.Indication);
    SetChecked(ui.unique, c.Unique, c.UniqueEnabled);

    SetSelection(ui.collation, c.Collation);
    SetChecked(ui.caseSensitive, c.CaseSensitive, c.CaseSensitiveEnabled);
    SetChecked(ui.accentSensitive, c.AccentSensitive, c.AccentSensitiveEnabled);
    ui.groups[TColumnGroup::Collation]->setEnabled(c.CollationEnabled);

    SetItems(ui.calculation, c.Calculations);
    if (ui.calculation->currentIndex() != c.Calculation) ui.calculation->setCurrentIndex(c.Calculation);
    SetText(ui.calcExpression, c.CalcExpression);

    // The visible groups from the top in the order they were shown; the
    // hidden ones gather below them.
    const QList<TColumnGroup>& visible = m_core->VisibleGroups();
    for (int position = 0; position < visible.size(); ++position) {
        QWidget* group = ui.groups[visible[position]];
        if (ui.groupLayout->indexOf(group) != position) {
            ui.groupLayout->removeWidget(group);
            ui.groupLayout->insertWidget(position, group);
        }
    }
    for (auto it = ui.groups.cbegin(); it != ui.groups.cend(); ++it) {
        const bool show = visible.contains(it.key());
        if (it.value()->isVisibleTo(this) != show) it.value()->setVisible(show);
    }
    ui.applying = false;
}

void TColumnPropertyEditor::Handle(const std::function<void()>& handler) {
    if (m_ui->applying) return;
    try {
        handler();
    } catch (const Exception& e) {
        ShowError(e.Message());
    }
    ApplyControls();
}

void TColumnPropertyEditor::ShowError(const QString& text) {
    OstDialogs().MessageBox(this, QStringLiteral("Error"), text, QMessageBox::Critical, QMessageBox::Ok);
}

bool TColumnPropertyEditor::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusOut && !m_ui->applying) {
        // A message box or a popup taking the focus is no exit.
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        const auto exit = m_ui->exits.constFind(watched);
        if (exit != m_ui->exits.cend() && reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
            Handle(exit.value());
    }
    return QWidget::eventFilter(watched, event);
}

void TColumnPropertyEditor::LinkedTableButtonClick() {
    const TOstDatabase* database = m_core->OstDatabase();
    const QString folder = database ? database->ResolvedLocation() : QString();
    QString fileName = m_ui->linkedTable->currentText();
    if (!OstDialogs().OpenFileName(this, QStringLiteral("Open"), QStringLiteral("Ostra tables (*.dat)|*.DAT"), folder,
                                   fileName))
        return;
    Handle([&] { m_core->LinkedTableFileChosen(fileName); });
}

// ---------------------------------------------------------------- the designer's side

void TColumnPropertyEditor::SetOstDatabase(TOstDatabase* database) { m_core->SetOstDatabase(database); }
void TColumnPropertyEditor::SetFieldDefList(TOstFieldDefs* list) { m_core->SetFieldDefList(list); }
void TColumnPropertyEditor::SetFieldDef(TOstFieldDef* def) { m_core->SetFieldDef(def); }
TOstFieldDef* TColumnPropertyEditor::FieldDef() const { return m_core->FieldDef(); }
void TColumnPropertyEditor::SetTableLevel(int level) { m_core->SetTableLevel(level); }
void TColumnPropertyEditor::SetTableCollation(const QString& name) { m_core->SetTableCollation(name); }
void TColumnPropertyEditor::SetAllowFieldChange(bool allowed) { m_core->SetAllowFieldChange(allowed); }
void TColumnPropertyEditor::SetAllowIndexChange(bool allowed) { m_core->SetAllowIndexChange(allowed); }

void TColumnPropertyEditor::CommitName() {
    Handle([this] { m_core->NameEditExit(m_ui->name->text()); });
}

QLineEdit* TColumnPropertyEditor::NameEdit() const { return m_ui->name; }

void TColumnPropertyEditor::FillCollationComboBox(QComboBox* combo, bool addEngineDefault, bool addDefault) {
    combo->clear();
    combo->addItems(TColumnPropertyEditorCore::CollationEntries(addEngineDefault, addDefault));
}
