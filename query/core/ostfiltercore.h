// The filter dialog without its window: the conditions (TFilterDescription),
// the tree that joins them with connectives, the moves of the tree's tool
// bar, and the filter text the tree stands for. The form TOstFilterDialog
// shows this state and hands every click to it; tests drive it directly.
//
// A condition's written form is the engine's filter syntax: a column (with
// the prefix "$" in the extended style), an operator and a literal. Columns
// whose names are not plain words are written in double quotes; floats,
// dates and times follow the locale, as the engine reads them back.
#pragma once

#include "engine/base/sysutils.h"
#include "engine/base/tcollection.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>
#include <memory>
#include <vector>

class TOstDataSet;

// A condition for a column whose type has no written value form.
class EFilterAssertion : public Exception {
public:
    using Exception::Exception;
};

// The connective joining a node to what stands before it, carried as the
// node's image index.
enum TFilterConnective { fcNone = -1, fcAnd = 3, fcAndNot = 4, fcOr = 5, fcOrNot = 6 };

// The groups of column types: value editor, written form and default.
enum TFilterTypeGroup { tgText, tgInteger, tgFloat, tgDate, tgTime, tgDateTime, tgNone };
TFilterTypeGroup FilterTypeGroup(int dataType);

// "and", "and not", "or", "or not"; empty for fcNone and anything else.
QString ConnectiveText(int connective);
// The "Junction" list: the four connectives in order, and back.
QStringList JunctionTexts();
int ConnectiveFromJunction(int index);
int JunctionFromConnective(int connective); // 0 for none

// 1 "=", 2 "<", 3 ">", 4 "<>"; empty otherwise.
QString OperatorText(int op);
QStringList OperatorTexts();
int OperatorFromText(const QString& text); // -1 when not one of the four

// A column name as a filter writes it: plain words as they are, anything
// else (blanks, "-", keywords, leading digits) in double quotes.
QString FilterFieldName(const QString& name);
// The written form of a value for a column of the type; EFilterAssertion
// for the types without one (blob, enumeration), naming the column.
QString FilterValueText(int dataType, const QVariant& value, const QString& fieldName = QString());
// The value a new condition starts with; EFilterAssertion as above.
QVariant DefaultFilterValue(int dataType, const QString& fieldName = QString());

class TFilterDescription : public TCollectionItem {
public:
    QString Prefix;
    QString FieldName;
    int DataType = 0;
    int Operator = -1; // -1: no condition set yet
    QVariant Value;

    void SetDefaultValue();
    // Empty while no operator is set; else "prefix field op value".
    QString Text() const;
    void Assign(const TFilterDescription& src);
};

class TFilterDescriptions : public TTypedCollection<TFilterDescription> {
public:
    // An unassigned (invalid) value gets the type's default.
    TFilterDescription* Add(const QString& prefix, const QString& fieldName, int dataType, int op,
                            const QVariant& value = QVariant());
    using TTypedCollection<TFilterDescription>::Add;
    TFilterDescription* GetFilterDescription(int i) const { return Items(i); }
    void SetFilterDescription(int i, const TFilterDescription& item) { Items(i)->Assign(item); }
};

// A node of the condition tree.
class TFilterNode {
public:
    TFilterDescription* Description = nullptr;
    int Connective = fcNone; // the image index
    TFilterNode* Parent() const { return m_parent; }
    const std::vector<std::unique_ptr<TFilterNode>>& Children() const { return m_children; }
    int Index() const; // among its siblings
    TFilterNode* PrevSibling() const;
    TFilterNode* NextSibling() const;
    TFilterNode* FirstChild() const { return m_children.empty() ? nullptr : m_children.front().get(); }
    bool HasChildren() const { return !m_children.empty(); }

private:
    friend class TFilterTree;
    TFilterNode* m_parent = nullptr; // the invisible root for top-level nodes
    std::vector<std::unique_ptr<TFilterNode>> m_children;
};

// The tree: an invisible root whose children are the top-level nodes.
class TFilterTree {
public:
    TFilterTree();
    TFilterNode* Root() const { return m_root.get(); }
    bool IsEmpty() const { return m_root->m_children.empty(); }
    TFilterNode* First() const { return m_root->FirstChild(); }
    bool IsTopLevel(const TFilterNode* n) const { return n && n->m_parent == m_root.get(); }
    bool IsVeryFirst(const TFilterNode* n) const { return n && n == First(); }
    // The parent as the user sees it: nullptr for a top-level node.
    TFilterNode* VisibleParent(const TFilterNode* n) const { return IsTopLevel(n) ? nullptr : n->m_parent; }
    // Appends a new node at the end of parent's children (the root when nullptr).
    TFilterNode* AddChild(TFilterNode* parent);
    // Moves node (with its subtree) to parent's children at index (-1: the end).
    void MoveTo(TFilterNode* node, TFilterNode* parent, int index);
    void Remove(TFilterNode* node);
    void Clear();
    // Every node, depth first, in display order.
    QVector<TFilterNode*> Nodes() const;

private:
    std::unique_ptr<TFilterNode> m_root;
};

// A column the field list offers.
struct TFilterField {
    QString Name;
    int DataType = 0;
};

class TOstFilterCore {
public:
    TOstFilterCore();

    // ---- the dataset and its columns
    void SetOstDataset(TOstDataSet* dataSet);
    TOstDataSet* OstDataset() const { return m_dataSet; }
    const QVector<TFilterField>& Fields() const { return m_fields; }
    // The field list's selection; -1 when empty.
    int SelectedField() const { return m_selectedField; }
    void SetSelectedField(int index);
    int FieldIndexOf(const QString& name) const;

    // ---- style and direct input
    void SetQlxDialogStyle(bool on);
    bool QlxDialogStyle() const { return m_qlxStyle; }
    QString Prefix() const { return m_prefix; }
    bool DirectInput() const { return m_directInput; }
    void SetDirectInput(bool on) { m_directInput = on; }
    QString Memo() const { return m_memo; }
    void SetMemo(const QString& text) { m_memo = text; }
    // Field, operator and "Update Condition" are enabled once a condition was added.
    bool ConditionInputsEnabled() const { return m_inputsEnabled; }

    void SetFilterText(const QString& text);
    QString GetFilterText() const;

    // "Test": how many records of the dataset's table the filter selects,
    // counted by the engine on a table of its own. Raises EOstraError when
    // the filter does not parse (its message names the position) and
    // Exception for a dataset that is not a table.
    int CountMatches(const QString& filter) const;
    // The 0-based position an engine message names ("... at position 5: ..."), or -1.
    static int ErrorPosition(const QString& message);

    // ---- the tree
    TFilterTree& Tree() { return m_tree; }
    const TFilterTree& Tree() const { return m_tree; }
    TFilterDescriptions& Descriptions() { return m_descriptions; }
    TFilterNode* Selected() const { return m_selected; }
    void Select(TFilterNode* node) { m_selected = node; }
    // The node's caption: its condition's text, or "(new condition)".
    static QString NodeCaption(const TFilterNode* node);
    // The text of the run of siblings starting at node.
    QString GetNodeText(const TFilterNode* node) const;
    QString TreeText() const { return GetNodeText(m_tree.First()); }

    // ---- actions
    bool AddEnabled() const { return !m_directInput; }
    bool DeleteEnabled() const { return m_selected != nullptr; }
    bool IndentRightEnabled() const { return m_selected && !m_tree.IsVeryFirst(m_selected); }
    bool IndentLeftEnabled() const { return m_selected && !m_tree.IsTopLevel(m_selected); }
    bool MoveUpEnabled() const { return m_selected && m_selected->PrevSibling(); }
    bool MoveDownEnabled() const { return m_selected && m_selected->NextSibling(); }
    TFilterNode* AddCondition();
    void DeleteCondition();
    void IndentRight();
    void IndentLeft();
    void MoveUp();
    void MoveDown();

    // "Update Condition": the inputs into the selected node's condition.
    // fieldIndex into Fields(); operatorText one of OperatorTexts(); junction
    // an index into JunctionTexts(). The junction is ignored for the very
    // first top-level node, which never has a connective.
    void UpdateCondition(int fieldIndex, const QString& operatorText, const QVariant& value, int junction);

private:
    TOstDataSet* m_dataSet = nullptr;
    QVector<TFilterField> m_fields;
    int m_selectedField = -1;
    bool m_qlxStyle = false;
    QString m_prefix;
    bool m_directInput = false;
    bool m_inputsEnabled = false;
    QString m_memo;
    TFilterDescriptions m_descriptions;
    TFilterTree m_tree;
    TFilterNode* m_selected = nullptr;
};
