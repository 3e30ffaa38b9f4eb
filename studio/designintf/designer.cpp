#include "studio/designintf/designer.h"

#include "engine/base/sysutils.h"
#include "engine/base/tclassregistry.h"
#include "engine/base/tdatamodule.h"
#include "engine/base/tdataset.h"

#include <QMetaProperty>
#include <QPointer>
#include <QSet>
#include <QUndoCommand>

// A property change. Components are found by name when a step is undone or
// redone: the stack is linear, so names are what they were when the step was made.
class TPropertyStep : public QUndoCommand {
public:
    TPropertyStep(TDesigner* d, bool isRoot, QString nameBefore, QString nameAfter, QString property, QVariant oldValue,
                  QVariant newValue)
        : QUndoCommand(QStringLiteral("Change %1.%2").arg(nameBefore, property)), m_d(d), m_isRoot(isRoot),
          m_nameBefore(std::move(nameBefore)), m_nameAfter(std::move(nameAfter)), m_property(std::move(property)),
          m_old(std::move(oldValue)), m_new(std::move(newValue)) {}

    void undo() override { Apply(m_nameAfter, m_old); }
    void redo() override {
        if (m_done) Apply(m_nameBefore, m_new);
        m_done = true; // the designer made the first change itself
    }

private:
    void Apply(const QString& name, const QVariant& value) {
        TComponent* c = m_d->Find(m_isRoot, name);
        if (!c) return m_d->StepFailed(QStringLiteral("Component %1 no longer exists").arg(name));
        try {
            m_d->Write(c, m_property, value);
        } catch (const Exception& e) {
            m_d->StepFailed(e.Message());
        }
    }
    TDesigner* m_d;
    bool m_isRoot, m_done = false;
    QString m_nameBefore, m_nameAfter, m_property;
    QVariant m_old, m_new;
};

// Components coming (creating, pasting) or going (deleting), kept as their stream.
class TComponentsStep : public QUndoCommand {
public:
    TComponentsStep(TDesigner* d, QJsonArray components, bool adds, const QString& text)
        : QUndoCommand(text), m_d(d), m_components(std::move(components)), m_adds(adds) {
        // Deleting takes fields before their dataset.
        for (const QJsonValue& v : m_components) m_names.prepend(v.toObject().value(QStringLiteral("name")).toString());
    }
    void undo() override { m_adds ? Remove() : Restore(); }
    void redo() override {
        if (m_done) m_adds ? Restore() : Remove();
        m_done = true;
    }

private:
    void Restore() {
        try {
            m_d->Restore(m_components);
        } catch (const Exception& e) {
            m_d->StepFailed(e.Message());
        }
    }
    void Remove() { m_d->Remove(m_names); }
    TDesigner* m_d;
    QJsonArray m_components;
    QStringList m_names;
    bool m_adds, m_done = false;
};

// The published properties a component editor's verb changed directly, per
// component. Components are found by name, as in TPropertyStep. A table or
// database is closed while its other properties are written and then takes
// the Active or Connected state of the side being restored.
class TVerbStep : public QUndoCommand {
public:
    struct TChange {
        QString property;
        QVariant oldValue, newValue;
    };
    struct TComponentChanges {
        bool isRoot;
        QString name;
        QList<TChange> changes;
    };
    TVerbStep(TDesigner* d, QList<TComponentChanges> components, QUndoCommand* parent)
        : QUndoCommand(parent), m_d(d), m_components(std::move(components)) {}

    void undo() override {
        for (auto it = m_components.crbegin(); it != m_components.crend(); ++it) Apply(*it, true);
    }
    void redo() override {
        if (m_done)
            for (const TComponentChanges& c : m_components) Apply(c, false);
        m_done = true;
    }

private:
    static bool IsState(const QString& p) { return p == u"Active" || p == u"Connected"; }
    void Apply(const TComponentChanges& cc, bool old) {
        TComponent* c = m_d->Find(cc.isRoot, cc.name);
        if (!c) return m_d->StepFailed(QStringLiteral("Component %1 no longer exists").arg(cc.name));
        try {
            QList<QPair<QString, QVariant>> states;
            for (const char* state : {"Connected", "Active"}) {
                if (c->metaObject()->indexOfProperty(state) < 0) continue;
                QVariant target = c->property(state);
                for (const TChange& ch : cc.changes)
                    if (ch.property == QLatin1String(state)) target = old ? ch.oldValue : ch.newValue;
                states.append({QString::fromLatin1(state), target});
            }
            for (auto it = states.crbegin(); it != states.crend(); ++it)
                if (c->property(it->first.toLatin1().constData()).toBool()) m_d->Write(c, it->first, false);
            for (const TChange& ch : cc.changes)
                if (!IsState(ch.property)) m_d->Write(c, ch.property, old ? ch.oldValue : ch.newValue);
            for (const auto& state : states)
                if (state.second.toBool()) m_d->Write(c, state.first, true);
        } catch (const Exception& e) {
            m_d->StepFailed(e.Message());
        }
    }
    TDesigner* m_d;
    QList<TComponentChanges> m_components;
    bool m_done = false;
};

namespace {

// The streamed properties of a component with their values.
QList<QPair<QString, QVariant>> PublishedValues(const TComponent* c) {
    QList<QPair<QString, QVariant>> values;
    const QMetaObject* mo = c->metaObject();
    for (int i = 0; i < mo->propertyCount(); ++i) {
        const QMetaProperty p = mo->property(i);
        if (!IsStreamedProperty(p)) continue;
        QVariant v = p.read(c);
        if (p.isEnumType()) v = v.toInt();
        values.append({QString::fromLatin1(p.name()), v});
    }
    return values;
}

QString StripNumber(const QString& name) {
    int end = name.size();
    while (end > 0 && name.at(end - 1).isDigit()) --end;
    return name.left(end);
}

bool IsOfClass(const QMetaObject* cls, const QString& className) {
    for (; cls; cls = cls->superClass())
        if (className == QLatin1String(cls->className())) return true;
    return false;
}

QVariant Coerce(const QMetaProperty& p, const QVariant& value, const QString& owner) {
    QVariant v = value;
    const QMetaType target = p.isEnumType() ? QMetaType(QMetaType::Int) : p.metaType();
    if (v.metaType() != target && !v.convert(target))
        throw EComponentError(QStringLiteral("Invalid value for property %1 of %2").arg(p.name(), owner));
    return v;
}

} // namespace

TDesigner::TDesigner(TComponent* root, QObject* parent) : IDesigner(parent), m_root(root) {
    connect(&m_undo, &QUndoStack::cleanChanged, this, &TDesigner::UpdateModified);
    connect(&m_undo, &QUndoStack::indexChanged, this, &TDesigner::UpdateModified);
}

TDesigner::~TDesigner() = default;

void TDesigner::Modified() {
    m_dirty = true;
    UpdateModified();
    emit componentsChanged();
}

bool TDesigner::IsModified() const { return m_dirty || !m_undo.isClean(); }

void TDesigner::SetUnmodified() {
    m_dirty = false;
    m_undo.setClean();
    UpdateModified();
}

void TDesigner::UpdateModified() {
    if (IsModified() == m_reportedModified) return;
    m_reportedModified = IsModified();
    emit modifiedChanged(m_reportedModified);
}

void TDesigner::SelectComponent(TComponent* c) { SetSelection(c ? QList<TComponent*>{c} : QList<TComponent*>{}); }

void TDesigner::SetSelection(const QList<TComponent*>& components) {
    if (components == m_selection) return;
    m_selection = components;
    emit selectionChanged();
}

TComponent* TDesigner::GetComponent(const QString& name) const {
    if (name.isEmpty()) return nullptr;
    if (m_root->GetName().compare(name, Qt::CaseInsensitive) == 0) return m_root;
    return m_root->FindComponent(name);
}

QString TDesigner::UniqueName(const QString& baseName) const {
    QString base = baseName;
    if (base.size() > 1 && base.at(0) == u'T' && base.at(1).isUpper()) base.remove(0, 1);
    for (int n = 1;; ++n) {
        const QString name = base + QString::number(n);
        if (!GetComponent(name)) return name;
    }
}

TComponent* TDesigner::CreateComponent(const QMetaObject* cls, TComponent* parent, int left, int top, int width,
                                       int height) {
    Q_UNUSED(parent) Q_UNUSED(width) Q_UNUSED(height)
    const QString className = cls ? QString::fromLatin1(cls->className()) : QString();
    const TClassRegistration* reg = FindClass(className);
    if (!reg || reg->metaObject != cls)
        throw EComponentError(QStringLiteral("Class %1 is not registered").arg(className.isEmpty() ? QStringLiteral("(none)") : className));
    TComponent* c = reg->factory(m_root);
    try {
        c->SetName(UniqueName(className));
        c->SetDesignPos(left, top);
    } catch (...) {
        delete c;
        throw;
    }
    m_undo.push(new TComponentsStep(this, {ComponentToJson(*c, TStreamPasswords::All)}, true, QStringLiteral("Create %1").arg(c->GetName())));
    emit componentAdded(c);
    SelectComponent(c);
    return c;
}

QList<TComponent*> TDesigner::InsertComponents(const QJsonArray& components) {
    QSet<QString> given; // names handed out in this batch, lower case
    auto rename = [&](const QString& name) {
        QString result = name;
        if (GetComponent(result) || given.contains(result.toLower())) {
            const QString base = StripNumber(name);
            for (int n = 1; GetComponent(result = base + QString::number(n)) || given.contains(result.toLower()); ++n) {}
        }
        given.insert(result.toLower());
        return result;
    };
    const QList<TComponent*> created = ComponentsFromJson(components, m_root, QString(), rename);
    if (created.isEmpty()) return created;
    const QString text = created.size() == 1 ? QStringLiteral("Insert %1").arg(created[0]->GetName())
                                             : QStringLiteral("Insert %1 components").arg(created.size());
    m_undo.push(new TComponentsStep(this, ComponentsToJson(created, TStreamPasswords::All), true, text));
    for (TComponent* c : created) emit componentAdded(c);
    SetSelection(created);
    return created;
}

void TDesigner::SetProperty(TComponent* c, const QString& propertyName, const QVariant& value) {
    if (!c) throw EComponentError(QStringLiteral("No component to set %1 of").arg(propertyName));
    const QMetaObject* mo = c->metaObject();
    const int index = mo->indexOfProperty(propertyName.toLatin1().constData());
    if (index < 0) throw EComponentError(QStringLiteral("%1 has no property %2").arg(c->GetName(), propertyName));
    const QMetaProperty p = mo->property(index);
    if (!p.isWritable()) throw EComponentError(QStringLiteral("Property %1 of %2 is read-only").arg(propertyName, c->GetName()));
    const QVariant v = Coerce(p, value, c->GetName());
    QVariant old = p.read(c);
    if (p.isEnumType()) old = old.toInt();
    if (old == v) return;
    const QString before = c->GetName();
    // A renamed component takes the references to it along, in the same step.
    const QList<TReference> refs = propertyName == u"Name" && c != m_root ? ReferencesTo({c}) : QList<TReference>{};
    Write(c, propertyName, v);
    if (!refs.isEmpty()) BeginUndoGroup(QStringLiteral("Rename %1").arg(before));
    m_undo.push(new TPropertyStep(this, c == m_root, before, c->GetName(), propertyName, old, v));
    if (refs.isEmpty()) return;
    for (const TReference& r : refs) {
        try {
            SetProperty(r.from, r.property, c->GetName());
        } catch (const EComponentError&) {
            // a component refusing the new name keeps the old one
        }
    }
    EndUndoGroup();
}

QList<TDesigner::TReference> TDesigner::ReferencesTo(const QList<TComponent*>& targets) const {
    QList<TReference> refs;
    for (TComponent* from : m_root->Components()) {
        if (targets.contains(from)) continue;
        for (const QString& prop : ReferenceProperties(from->metaObject())) {
            const QString value = from->property(prop.toLatin1().constData()).toString();
            const QString cls = ReferencedClassName(from->metaObject(), prop.toLatin1().constData());
            for (TComponent* t : targets)
                if (!value.isEmpty() && value.compare(t->GetName(), Qt::CaseInsensitive) == 0 && IsOfClass(t->metaObject(), cls))
                    refs.append({from, prop});
        }
    }
    return refs;
}

void TDesigner::RunVerb(const QString& text, const std::function<void()>& verb) {
    struct TBefore {
        QPointer<TComponent> component;
        bool isRoot;
        QList<QPair<QString, QVariant>> values;
    };
    QList<TBefore> before{{m_root, true, PublishedValues(m_root)}};
    for (TComponent* c : m_root->Components()) before.append({c, false, PublishedValues(c)});
    QList<QPair<TComponent*, QString>> touched;
    QList<QPair<TComponent*, QString>>* outer = m_verbTouched;
    m_verbTouched = &touched;
    BeginUndoGroup(text);
    auto finish = [&] {
        m_verbTouched = outer;
        QList<TVerbStep::TComponentChanges> changed;
        for (const TBefore& b : before) {
            if (!b.component) continue;
            TVerbStep::TComponentChanges cc{b.isRoot, b.component->GetName(), {}};
            const QList<QPair<QString, QVariant>> now = PublishedValues(b.component);
            for (int i = 0; i < now.size() && i < b.values.size(); ++i)
                if (now[i].second != b.values[i].second && !touched.contains({b.component.data(), now[i].first}))
                    cc.changes.append({now[i].first, b.values[i].second, now[i].second});
            if (!cc.changes.isEmpty()) changed.append(cc);
        }
        if (!changed.isEmpty()) {
            auto* step = new QUndoCommand(text);
            new TVerbStep(this, changed, step);
            m_undo.push(step);
        }
        EndUndoGroup();
        // A verb that changed nothing leaves no step behind.
        const QUndoCommand* group = m_undo.index() > 0 ? m_undo.command(m_undo.index() - 1) : nullptr;
        if (group && group->text() == text && group->childCount() == 0) {
            const_cast<QUndoCommand*>(group)->setObsolete(true);
            m_undo.undo();
        }
        emit componentsChanged();
    };
    try {
        verb();
    } catch (...) {
        finish();
        throw;
    }
    finish();
}

void TDesigner::Write(TComponent* c, const QString& propertyName, const QVariant& value) {
    const QMetaProperty p = c->metaObject()->property(c->metaObject()->indexOfProperty(propertyName.toLatin1().constData()));
    bool written = false;
    try {
        written = p.write(c, value);
    } catch (const Exception& e) {
        throw EComponentError(e.Message());
    } catch (const std::exception& e) {
        throw EComponentError(QString::fromLocal8Bit(e.what()));
    }
    if (!written) throw EComponentError(QStringLiteral("Invalid value for property %1 of %2").arg(propertyName, c->GetName()));
    if (m_verbTouched) m_verbTouched->append({c, propertyName});
    emit propertyChanged(c, propertyName);
}

void TDesigner::DeleteComponent(TComponent* c) {
    if (!c || c == m_root || c->Owner() != m_root)
        throw EComponentError(QStringLiteral("Only components of %1 can be deleted").arg(m_root->GetName()));
    QList<TComponent*> going{c};
    for (TComponent* other : m_root->Components())
        if (auto* f = qobject_cast<TField*>(other); f && f->DataSet() == c) going.append(f);
    const QJsonArray stream = ComponentsToJson(going, TStreamPasswords::All);
    QStringList names;
    for (auto it = going.crbegin(); it != going.crend(); ++it) names.append((*it)->GetName());
    // References to what goes are cleared first, in the same step, so undo puts them back.
    const QList<TReference> refs = ReferencesTo(going);
    const QString text = QStringLiteral("Delete %1").arg(names.constLast());
    if (!refs.isEmpty()) {
        BeginUndoGroup(text);
        for (const TReference& r : refs) {
            try {
                SetProperty(r.from, r.property, QString());
            } catch (const EComponentError&) {
                // the component resolves its reference at use and will find nothing
            }
        }
    }
    Remove(names);
    m_undo.push(new TComponentsStep(this, stream, false, text));
    if (!refs.isEmpty()) EndUndoGroup();
}

TComponent* TDesigner::Find(bool isRoot, const QString& name) const {
    return isRoot ? m_root : m_root->FindComponent(name);
}

QList<TComponent*> TDesigner::Restore(const QJsonArray& components) {
    const QList<TComponent*> created = ComponentsFromJson(components, m_root, QString());
    for (TComponent* c : created) emit componentAdded(c);
    return created;
}

void TDesigner::Remove(const QStringList& names) {
    for (const QString& name : names) {
        TComponent* c = m_root->FindComponent(name);
        if (!c) continue;
        emit componentRemoved(c);
        if (m_selection.removeAll(c)) emit selectionChanged();
        delete c;
    }
}

void TDesigner::StepFailed(const QString& message) {
    m_stepError = message;
    emit stepFailed(message);
}

void TDesigner::RunStep(bool undo) {
    m_stepError.clear();
    const QString text = undo ? m_undo.undoText() : m_undo.redoText();
    undo ? m_undo.undo() : m_undo.redo();
    if (!m_stepError.isEmpty())
        throw EComponentError(QStringLiteral("Cannot %1 \"%2\": %3").arg(undo ? QStringLiteral("undo") : QStringLiteral("redo"), text, m_stepError));
}

void TDesigner::Undo() { RunStep(true); }
void TDesigner::Redo() { RunStep(false); }
