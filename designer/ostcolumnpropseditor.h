// The column property editor: the panel of the table designer's General page
// that edits the properties of the selected column. It shows the groups of
// controls that suit the column's data type and the table's level, writes
// every change straight into the column's definition when a control is left
// or changed, and announces it through OnChange. Its logic lives in
// TColumnPropertyEditorCore; this class binds the controls to it.
#pragma once

#include <QWidget>
#include <functional>
#include <memory>

class QCheckBox;
class QComboBox;
class QLineEdit;
class TColumnPropertyEditorCore;
class TOstDatabase;
class TOstFieldDef;
class TOstFieldDefs;

class TColumnPropertyEditor : public QWidget {
    Q_OBJECT
public:
    // Becomes a child of host and fills it.
    explicit TColumnPropertyEditor(QWidget* host);
    ~TColumnPropertyEditor() override;

    void SetOstDatabase(TOstDatabase* database);
    void SetFieldDefList(TOstFieldDefs* list);
    void SetFieldDef(TOstFieldDef* def);
    TOstFieldDef* FieldDef() const;
    void SetTableLevel(int level);
    void SetTableCollation(const QString& name);
    void SetAllowFieldChange(bool allowed);
    void SetAllowIndexChange(bool allowed);

    // After every accepted change of the definition.
    std::function<void(TColumnPropertyEditor*)> OnChange;
    // Asked for a default indication when a column becomes the auto-increment type.
    std::function<void(TColumnPropertyEditor*, QString& indication)> OnIndicationRequest;

    // Commits the name edit as if it was left (the designer calls it before
    // structural actions while the name edit has the focus).
    void CommitName();
    QLineEdit* NameEdit() const;

    // Fills a combo with the locale collations (sorted, no duplicates) and,
    // when asked, "Ostra" and "(default)".
    static void FillCollationComboBox(QComboBox* combo, bool addEngineDefault, bool addDefault);

    TColumnPropertyEditorCore& Core() const { return *m_core; }

private:
    void BuildControls();
    void BindControls();
    // Shows what the core holds; controls that already show it are left alone.
    void ApplyControls();
    // Runs a handler of the core. A refused change is shown in a message box
    // and the control keeps the user's value.
    void Handle(const std::function<void()>& handler);
    void ShowError(const QString& text);
    void LinkedTableButtonClick();
    // Exits: focus leaving a control for another control of the window.
    bool eventFilter(QObject* watched, QEvent* event) override;

    std::unique_ptr<TColumnPropertyEditorCore> m_core;
    // The controls and their handlers are the implementation's.
    struct TControls;
    std::unique_ptr<TControls> m_ui;
};
