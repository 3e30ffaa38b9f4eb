#include "studio/studioclipboard.h"

#include "engine/base/sysutils.h"
#include "engine/base/tdatamodule.h"
#include "engine/base/tdataset.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/dsdesign.h"

#include <QApplication>
#include <QClipboard>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeData>
#include <QUuid>

namespace {

constexpr char kModuleMimeType[] = "application/x-ostra-module";
constexpr char kModuleIdProperty[] = "ostClipboardModuleId";
constexpr int kPasteOffset = 16;

// Identifies a module for as long as it lives, unlike its address or name.
QByteArray ModuleId(const IDesigner* designer) {
    TComponent* root = designer ? designer->Root() : nullptr;
    if (!root) return QByteArray();
    QVariant id = root->property(kModuleIdProperty);
    if (!id.isValid()) {
        id = QUuid::createUuid().toByteArray();
        root->setProperty(kModuleIdProperty, id);
    }
    return id.toByteArray();
}

bool LooksLikeComponents(const QJsonArray& array) {
    if (array.isEmpty()) return false;
    for (const QJsonValue& v : array)
        if (!v.isObject() || !v.toObject().contains(QStringLiteral("class"))) return false;
    return true;
}

QJsonArray Shifted(const QJsonArray& components, int offset) {
    QJsonArray out;
    for (const QJsonValue& v : components) {
        QJsonObject o = v.toObject();
        o.insert(QStringLiteral("left"), o.value(QStringLiteral("left")).toInt() + offset);
        o.insert(QStringLiteral("top"), o.value(QStringLiteral("top")).toInt() + offset);
        out.append(o);
    }
    return out;
}

} // namespace

QList<TComponent*> SelectedComponents(const IDesigner* designer) {
    QList<TComponent*> result;
    if (!designer) return result;
    for (TComponent* c : designer->Selection())
        if (c && c != designer->Root() && c->Owner() == designer->Root()) result.append(c);
    return result;
}

QList<TComponent*> ComponentsToCopy(const IDesigner* designer, const QList<TComponent*>& selection) {
    QList<TComponent*> result;
    if (!designer || !designer->Root()) return result;
    for (TComponent* c : designer->Root()->Components()) {
        bool take = selection.contains(c);
        if (!take)
            if (auto* f = qobject_cast<TField*>(c); f && f->DataSet() && selection.contains(f->DataSet())) take = true;
        if (take) result.append(c);
    }
    return result;
}

QMimeData* ComponentsMimeData(const IDesigner* designer, const QList<TComponent*>& selection) {
    const QJsonArray stream = ComponentsToJson(ComponentsToCopy(designer, selection));
    const QByteArray json = QJsonDocument(stream).toJson(QJsonDocument::Indented);
    auto* data = new QMimeData;
    data->setData(QString::fromLatin1(kComponentsMimeType), json);
    data->setData(QString::fromLatin1(kModuleMimeType), ModuleId(designer));
    data->setText(QString::fromUtf8(json));
    return data;
}

QJsonArray ComponentsFromMimeData(const QMimeData* data) {
    if (!data) return {};
    const bool typed = data->hasFormat(QString::fromLatin1(kComponentsMimeType));
    const QByteArray bytes = typed ? data->data(QString::fromLatin1(kComponentsMimeType)) : data->text().toUtf8();
    if (!typed && !bytes.trimmed().startsWith('[')) return {}; // ordinary text
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray() || !LooksLikeComponents(doc.array())) {
        if (!typed) return {};
        throw EComponentError(QStringLiteral("The clipboard does not hold valid components"));
    }
    return doc.array();
}

bool CopiedFromModule(const QMimeData* data, const IDesigner* designer) {
    return data && designer && data->hasFormat(QString::fromLatin1(kModuleMimeType)) &&
           data->data(QString::fromLatin1(kModuleMimeType)) == ModuleId(designer);
}

void CopySelection(IDesigner* designer) {
    const QList<TComponent*> selection = SelectedComponents(designer);
    if (selection.isEmpty()) return;
    QApplication::clipboard()->setMimeData(ComponentsMimeData(designer, selection));
}

void DeleteSelection(IDesigner* designer) {
    const QList<TComponent*> selection = SelectedComponents(designer);
    if (selection.isEmpty()) return;
    // Names, not pointers: deleting a dataset takes its fields, which may be selected too.
    QStringList names;
    for (TComponent* c : selection) names.append(c->GetName());
    const bool group = names.size() > 1;
    if (group) designer->BeginUndoGroup(QStringLiteral("Delete %1 components").arg(names.size()));
    try {
        for (const QString& name : names)
            if (TComponent* c = designer->Root()->FindComponent(name)) designer->DeleteComponent(c);
    } catch (...) {
        if (group) designer->EndUndoGroup();
        throw;
    }
    if (group) designer->EndUndoGroup();
}

void CutSelection(IDesigner* designer) {
    const QList<TComponent*> selection = SelectedComponents(designer);
    if (selection.isEmpty()) return;
    CopySelection(designer);
    designer->BeginUndoGroup(QStringLiteral("Cut"));
    try {
        DeleteSelection(designer);
    } catch (...) {
        designer->EndUndoGroup();
        throw;
    }
    designer->EndUndoGroup();
}

bool CanPaste() {
    const QMimeData* data = QApplication::clipboard()->mimeData();
    if (!data) return false;
    if (data->hasFormat(QString::fromLatin1(kComponentsMimeType))) return true;
    try {
        return !ComponentsFromMimeData(data).isEmpty();
    } catch (const Exception&) {
        return false;
    }
}

QList<TComponent*> PasteComponents(IDesigner* designer) {
    if (!designer) return {};
    const QMimeData* data = QApplication::clipboard()->mimeData();
    QJsonArray components = ComponentsFromMimeData(data);
    if (components.isEmpty()) throw EComponentError(QStringLiteral("The clipboard holds no components"));
    if (CopiedFromModule(data, designer)) components = Shifted(components, kPasteOffset);
    return designer->InsertComponents(components);
}
