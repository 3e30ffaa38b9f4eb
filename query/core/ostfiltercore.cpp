#include "query/core/ostfiltercore.h"

#include "engine/ostdataset.h"
#include "engine/ostengine.h"

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

// ---------------------------------------------------------------- texts and written forms

TFilterTypeGroup FilterTypeGroup(int dataType) {
    switch (dataType) {
    case 0: case 1: case 8: case 12: case 16: case 17: case 19: return tgText;
    case 2: case 3: case 5: case 10: case 11: case 14: case 18: return tgInteger;
    case 4: return tgFloat;
    case 7: return tgDate;
    case 13: return tgTime;
    case 15: return tgDateTime;
    default: return tgNone;
    }
}

QString ConnectiveText(int connective) {
    switch (connective) {
    case fcAnd: return u"and"_s;
    case fcAndNot: return u"and not"_s;
    case fcOr: return u"or"_s;
    case fcOrNot: return u"or not"_s;
    default: return QString();
    }
}

QStringList JunctionTexts() { return {u"and"_s, u"and not"_s, u"or"_s, u"or not"_s}; }
int ConnectiveFromJunction(int index) { return index >= 0 && index < 4 ? fcAnd + index : fcAnd; }
int JunctionFromConnective(int connective) { return connective >= fcAnd && connective <= fcOrNot ? connective - fcAnd : 0; }

QString OperatorText(int op) {
    switch (op) {
    case 1: return u"="_s;
    case 2: return u"<"_s;
    case 3: return u">"_s;
    case 4: return u"<>"_s;
    default: return QString();
    }
}

QStringList OperatorTexts() { return {u"="_s, u"<"_s, u">"_s, u"<>"_s}; }

int OperatorFromText(const QString& text) {
    const int i = OperatorTexts().indexOf(text.trimmed());
    return i < 0 ? -1 : i + 1;
}

namespace {

bool IsPlainName(const QString& name) {
    if (name.isEmpty() || !(name[0].isLetter() || name[0] == u'_')) return false;
    for (QChar c : name)
        if (!(c.isLetterOrNumber() || c == u'_')) return false;
    static const QStringList words{u"and"_s, u"or"_s,   u"not"_s,   u"like"_s,    u"is"_s,
                                   u"null"_s, u"true"_s, u"false"_s, u"contains"_s};
    return !words.contains(name, Qt::CaseInsensitive);
}

[[noreturn]] void NoValueForm(int dataType, const QString& fieldName) {
    throw EFilterAssertion(u"Assertion failure: column \"%1\" is of a type (%2) that a filter condition cannot compare"_s
                               .arg(fieldName, GetDataTypeName(dataType)));
}

QDateTime AsDateTime(const QVariant& v) {
    if (v.metaType().id() == QMetaType::QDate) return QDateTime(v.toDate(), QTime(0, 0));
    if (v.metaType().id() == QMetaType::QTime) return QDateTime(QDate::currentDate(), v.toTime());
    return v.toDateTime();
}

} // namespace

QString FilterFieldName(const QString& name) { return IsPlainName(name) ? name : OstFilterQuotedName(name); }

QString FilterValueText(int dataType, const QVariant& value, const QString& fieldName) {
    switch (FilterTypeGroup(dataType)) {
    case tgText: return OstFilterQuotedText(value.toString());
    case tgInteger: return QString::number(value.toLongLong());
    case tgFloat: {
        // The locale's form; where its decimal separator is not a point the
        // number is written as a string, which the engine reads in the locale.
        QLocale locale;
        locale.setNumberOptions(QLocale::OmitGroupSeparator);
        const QString text = locale.toString(value.toDouble(), 'g', 15);
        for (QChar c : text)
            if (!(c.isDigit() && c.unicode() < 128) && c != u'.' && c != u'-' && c != u'+' && c != u'e')
                return OstFilterQuotedText(text);
        return text;
    }
    case tgDate: return OstFilterQuotedText(OstFilterDateText(AsDateTime(value).date()));
    case tgTime: return OstFilterQuotedText(OstFilterTimeText(AsDateTime(value).time()));
    case tgDateTime: {
        const QDateTime dt = AsDateTime(value);
        return OstFilterQuotedText(OstFilterDateTimeText(dt.date(), dt.time()));
    }
    case tgNone: break;
    }
    NoValueForm(dataType, fieldName);
}

QVariant DefaultFilterValue(int dataType, const QString& fieldName) {
    switch (FilterTypeGroup(dataType)) {
    case tgText: return QString();
    case tgInteger: return 0;
    case tgFloat: return 0.0;
    case tgDate: case tgTime: case tgDateTime: return QDateTime::currentDateTime();
    case tgNone: break;
    }
    NoValueForm(dataType, fieldName);
}

// ---------------------------------------------------------------- TFilterDescription(s)

void TFilterDescription::SetDefaultValue() { Value = DefaultFilterValue(DataType, FieldName); }

QString TFilterDescription::Text() const {
    if (Operator == -1) return QString();
    return u"%1%2 %3 %4"_s.arg(Prefix, FilterFieldName(FieldName), OperatorText(Operator),
                               FilterValueText(DataType, Value, FieldName));
}

void TFilterDescription::Assign(const TFilterDescription& s) {
    Prefix = s.Prefix;
    FieldName = s.FieldName;
    DataType = s.DataType;
    Operator = s.Operator;
    Value = s.Value;
}

TFilterDescription* TFilterDescriptions::Add(const QString& prefix, const QString& fieldName, int dataType, int op,
                                             const QVariant& value) {
    TFilterDescription* d = Add();
    d->Prefix = prefix;
    d->FieldName = fieldName;
    d->DataType = dataType;
    d->Operator = op;
    if (value.isValid()) d->Value = value;
    else d->SetDefaultValue();
    return d;
}

// ---------------------------------------------------------------- the tree

int TFilterNode::Index() const {
    if (!m_parent) return 0;
    const auto& run = m_parent->m_children;
    for (size_t i = 0; i < run.size(); ++i)
        if (run[i].get() == this) return int(i);
    return -1;
}

TFilterNode* TFilterNode::PrevSibling() const {
    const int i = Index();
    return m_parent && i > 0 ? m_parent->m_children[i - 1].get() : nullptr;
}

TFilterNode* TFilterNode::NextSibling() const {
    const int i = Index();
    return m_parent && i + 1 < int(m_parent->m_children.size()) ? m_parent->m_children[i + 1].get() : nullptr;
}

TFilterTree::TFilterTree() : m_root(std::make_unique<TFilterNode>()) {}

TFilterNode* TFilterTree::AddChild(TFilterNode* parent) {
    TFilterNode* p = parent ? parent : m_root.get();
    auto node = std::make_unique<TFilterNode>();
    node->m_parent = p;
    p->m_children.push_back(std::move(node));
    return p->m_children.back().get();
}

void TFilterTree::MoveTo(TFilterNode* node, TFilterNode* parent, int index) {
    TFilterNode* p = parent ? parent : m_root.get();
    auto& from = node->m_parent->m_children;
    const int at = node->Index();
    std::unique_ptr<TFilterNode> owned = std::move(from[at]);
    from.erase(from.begin() + at);
    auto& to = p->m_children;
    if (index < 0 || index > int(to.size())) index = int(to.size());
    owned->m_parent = p;
    to.insert(to.begin() + index, std::move(owned));
}

void TFilterTree::Remove(TFilterNode* node) {
    auto& run = node->m_parent->m_children;
    run.erase(run.begin() + node->Index());
}

void TFilterTree::Clear() { m_root->m_children.clear(); }

QVector<TFilterNode*> TFilterTree::Nodes() const {
    QVector<TFilterNode*> out;
    std::function<void(const TFilterNode*)> walk = [&](const TFilterNode* n) {
        for (const auto& c : n->Children()) {
            out.append(c.get());
            walk(c.get());
        }
    };
    walk(m_root.get());
    return out;
}

// ---------------------------------------------------------------- TOstFilterCore

TOstFilterCore::TOstFilterCore() { SetQlxDialogStyle(true); }

void TOstFilterCore::SetOstDataset(TOstDataSet* dataSet) {
    m_dataSet = dataSet;
    m_fields.clear();
    if (dataSet) {
        const TOstFieldDefs& defs = dataSet->GetFieldDefsOst();
        for (int i = 0; i < defs.Count(); ++i)
            m_fields.append({defs[i]->GetName(), int(defs[i]->GetDataTypeOst()) & 127});
    }
    m_selectedField = m_fields.isEmpty() ? -1 : 0;
}

void TOstFilterCore::SetSelectedField(int index) { m_selectedField = index >= 0 && index < m_fields.size() ? index : -1; }

int TOstFilterCore::FieldIndexOf(const QString& name) const {
    for (int i = 0; i < m_fields.size(); ++i)
        if (m_fields[i].Name == name) return i;
    return -1;
}

void TOstFilterCore::SetQlxDialogStyle(bool on) {
    m_qlxStyle = on;
    m_prefix = on ? u"$"_s : QString();
}

void TOstFilterCore::SetFilterText(const QString& text) {
    m_memo = text;
    m_directInput = true;
}

QString TOstFilterCore::GetFilterText() const { return m_directInput ? m_memo : TreeText(); }

int TOstFilterCore::CountMatches(const QString& filter) const {
    auto* table = qobject_cast<TOstTable*>(m_dataSet);
    if (!table || table->GetTableName().trimmed().isEmpty())
        throw Exception(u"Only the records of a table can be counted"_s);
    TOstTable probe;
    probe.SetDatabaseName(table->GetDatabaseName());
    probe.SetTableName(table->GetTableName());
    probe.SetEncryptionPassword(table->GetEncryptionPassword());
    probe.SetReadOnly(true);
    probe.SetFilter(filter);
    probe.SetFiltered(true);
    probe.Open();
    const int count = probe.RecordCount();
    probe.Close();
    return count;
}

int TOstFilterCore::ErrorPosition(const QString& message) {
    static const QRegularExpression at(u"at position (\\d+)"_s);
    const QRegularExpressionMatch m = at.match(message);
    return m.hasMatch() ? m.captured(1).toInt() - 1 : -1;
}

QString TOstFilterCore::NodeCaption(const TFilterNode* node) {
    const QString text = node && node->Description ? node->Description->Text() : QString();
    return text.trimmed().isEmpty() ? u"(new condition)"_s : text;
}

QString TOstFilterCore::GetNodeText(const TFilterNode* node) const {
    QString out;
    for (const TFilterNode* n = node; n; n = n->NextSibling()) {
        const QString connective = ConnectiveText(n->Connective);
        if (n != node && !connective.isEmpty()) out += u" %1 "_s.arg(connective);
        if (n->Description) out += n->Description->Text();
        if (const TFilterNode* child = n->FirstChild()) {
            const QString join = ConnectiveText(child->Connective);
            if (!join.isEmpty()) out += u" %1 (%2)"_s.arg(join, GetNodeText(child));
        }
    }
    return out;
}

TFilterNode* TOstFilterCore::AddCondition() {
    if (!AddEnabled()) return nullptr;
    const TFilterField field = m_selectedField >= 0 ? m_fields[m_selectedField] : TFilterField{};
    TFilterDescription* d = m_descriptions.Add(m_prefix, field.Name, field.DataType, -1);
    TFilterNode* parent = m_selected ? m_tree.VisibleParent(m_selected) : nullptr;
    TFilterNode* node = m_tree.AddChild(parent);
    node->Description = d;
    node->Connective = m_tree.IsVeryFirst(node) ? fcNone : fcAnd;
    m_selected = node;
    m_inputsEnabled = true;
    return node;
}

void TOstFilterCore::DeleteCondition() {
    TFilterNode* node = m_selected;
    if (!node) return;
    // The children keep their order: each goes before the sibling that
    // followed the node, or to the end of the run above the node's.
    TFilterNode* next = node->NextSibling();
    while (TFilterNode* child = node->FirstChild()) {
        if (next)
            m_tree.MoveTo(child, m_tree.VisibleParent(next), next->Index());
        else
            m_tree.MoveTo(child, m_tree.VisibleParent(node) ? m_tree.VisibleParent(m_tree.VisibleParent(node)) : nullptr, -1);
    }
    m_tree.Remove(node);
    m_selected = nullptr;
}

void TOstFilterCore::IndentRight() {
    if (!IndentRightEnabled()) return;
    if (TFilterNode* prev = m_selected->PrevSibling()) m_tree.MoveTo(m_selected, prev, -1);
}

void TOstFilterCore::IndentLeft() {
    if (!IndentLeftEnabled()) return;
    TFilterNode* parent = m_selected->Parent();
    m_tree.MoveTo(m_selected, m_tree.VisibleParent(parent), parent->Index() + 1);
}

void TOstFilterCore::MoveUp() {
    if (!MoveUpEnabled()) return;
    TFilterNode* passed = m_selected->PrevSibling();
    m_tree.MoveTo(m_selected, m_tree.VisibleParent(m_selected), passed->Index());
    if (m_tree.IsVeryFirst(m_selected)) {
        m_selected->Connective = fcNone;
        passed->Connective = fcAnd;
    }
}

void TOstFilterCore::MoveDown() {
    if (!MoveDownEnabled()) return;
    TFilterNode* next = m_selected->NextSibling();
    m_tree.MoveTo(next, m_tree.VisibleParent(next), m_selected->Index());
    if (m_tree.IsVeryFirst(next)) {
        next->Connective = fcNone;
        m_selected->Connective = fcAnd;
    }
}

void TOstFilterCore::UpdateCondition(int fieldIndex, const QString& operatorText, const QVariant& value, int junction) {
    if (!m_selected || !m_selected->Description) return;
    TFilterDescription* d = m_selected->Description;
    if (fieldIndex >= 0 && fieldIndex < m_fields.size()) {
        const TFilterField& f = m_fields[fieldIndex];
        if (FilterTypeGroup(f.DataType) == tgNone) NoValueForm(f.DataType, f.Name); // the condition stays as it was
        d->FieldName = m_fields[fieldIndex].Name;
        d->DataType = m_fields[fieldIndex].DataType;
    }
    d->Operator = OperatorFromText(operatorText);
    d->Value = value;
    m_selected->Connective = m_tree.IsVeryFirst(m_selected) ? fcNone : ConnectiveFromJunction(junction);
}
