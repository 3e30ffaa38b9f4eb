// TDesigner over a data module: names, creating, selecting and deleting
// components, undo and redo of every change, the modified flag, and the
// fields editor working on a real table.
#include "studio_helper.h"

#include "engine/ostdataset.h"
#include "engine/ostextcomps.h"
#include "engine/ostquery.h"
#include "engine/base/sysutils.h"
#include "engine/base/tdatamodule.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/designintf/dsdesign.h"
#include "studio/designintf/propertyeditor.h"

#include <QListWidget>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

class TIntegerField : public TField {
    Q_OBJECT
public:
    using TField::TField;
};

class TUnregistered : public TComponent {
    Q_OBJECT
public:
    using TComponent::TComponent;
};

// The column list of a field's FieldName comes from the field's dataset.
class TFieldNameProperty : public TDBStringProperty {
public:
    using TDBStringProperty::TDBStringProperty;
    TDataSet* GetDataSet() const override {
        auto* f = qobject_cast<TField*>(GetComponent());
        return f ? f->DataSet() : nullptr;
    }
};

class TstDesigner : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { RegisterEngineClasses(); }
    void createSelectAndName();
    void propertyChangesUndoAndRedo();
    void deleteUndoRestoresComponentAndFields();
    void modifiedFlag();
    void fieldsEditorAddsAndDeletesFields();
    void referencesFollowRenamesDeletesAndPastes();
};

namespace {

QStringList Names(const TComponent& root) {
    QStringList names;
    for (const TComponent* c : root.Components()) names.append(c->GetName());
    return names;
}

} // namespace

void TstDesigner::createSelectAndName() {
    TDataModule root;
    root.SetName("Module1");
    TDesigner d(&root);
    QSignalSpy added(&d, &IDesigner::componentAdded);
    QSignalSpy selected(&d, &IDesigner::selectionChanged);
    QCOMPARE(d.UniqueName("TOstTable"), QStringLiteral("OstTable1"));
    QCOMPARE(d.UniqueName("Table"), QStringLiteral("Table1"));

    TComponent* t1 = d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 16, 24, 0, 0);
    TComponent* t2 = d.CreateComponent(&TOstTable::staticMetaObject, &root, 100, 24, 0, 0);
    TComponent* q1 = d.CreateComponent(&TOstQuery::staticMetaObject, t1, 0, 0, 0, 0);
    QCOMPARE(Names(root), QStringList({"OstTable1", "OstTable2", "OstQuery1"}));
    QCOMPARE(t1->Owner(), &root);
    QCOMPARE(q1->Owner(), &root);
    QCOMPARE(t2->DesignLeft(), 100);
    QCOMPARE(t2->DesignTop(), 24);
    QCOMPARE(added.count(), 3);
    QCOMPARE(d.Selection(), QList<TComponent*>({q1}));
    QCOMPARE(d.GetComponent("osttable2"), t2);
    QCOMPARE(d.GetComponent("Module1"), &root);
    QVERIFY(!d.GetComponent("Nothing"));

    d.SetSelection({t1, t2});
    const int selections = selected.count();
    d.DeleteComponent(t1);
    QCOMPARE(d.Selection(), QList<TComponent*>({t2}));
    QCOMPARE(selected.count(), selections + 1);
    // The freed name is the first one free again.
    TComponent* again = d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0);
    QCOMPARE(again->GetName(), QStringLiteral("OstTable1"));

    // Creating is a step: undone it goes, redone it comes back where it was.
    d.Undo();
    QVERIFY(!root.FindComponent("OstTable1"));
    d.Undo(); // the deletion
    d.Undo(); // the query
    QCOMPARE(Names(root), QStringList({"OstTable2", "OstTable1"}));
    QCOMPARE(root.FindComponent("OstTable1")->DesignLeft(), 16);
    d.Redo();
    QCOMPARE(root.FindComponent("OstQuery1")->metaObject(), &TOstQuery::staticMetaObject);

    const int count = root.ComponentCount();
    QVERIFY_THROWS_EXCEPTION(EComponentError, d.CreateComponent(&TUnregistered::staticMetaObject, nullptr, 0, 0, 0, 0));
    QVERIFY_THROWS_EXCEPTION(EComponentError, d.DeleteComponent(&root));
    QCOMPARE(root.ComponentCount(), count);
}

void TstDesigner::propertyChangesUndoAndRedo() {
    TDataModule root;
    TDesigner d(&root);
    auto* t = static_cast<TOstTable*>(d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0));
    auto* db = static_cast<TOstDatabase*>(d.CreateComponent(&TOstDatabase::staticMetaObject, nullptr, 0, 0, 0, 0));
    QSignalSpy changed(&d, &IDesigner::propertyChanged);

    d.SetProperty(t, "TableName", "People");
    d.SetProperty(t, "Name", "Customers");
    d.SetProperty(t, "Tag", "12"); // converted to the property's type
    d.SetProperty(t, "Filtered", true);
    QCOMPARE(t->GetTag(), 12);
    QCOMPARE(changed.count(), 4);
    QCOMPARE(changed.last().at(1).toString(), QStringLiteral("Filtered"));

    // Refused values leave no step behind, and neither does setting the value a property has.
    const int steps = d.UndoStack()->count();
    QVERIFY_THROWS_EXCEPTION(EComponentError, d.SetProperty(t, "Tag", "twelve"));
    QVERIFY_THROWS_EXCEPTION(EComponentError, d.SetProperty(t, "NoSuchProperty", 1));
    QVERIFY_THROWS_EXCEPTION(EComponentError, d.SetProperty(t, "Name", "OstDatabase1"));
    try {
        d.SetProperty(db, "DatabaseType", 9);
        QFAIL("the database took type 9");
    } catch (const EComponentError& e) {
        QCOMPARE(e.Message(), QStringLiteral("Unknown database type 9"));
    }
    d.SetProperty(t, "Tag", 12);
    QCOMPARE(d.UndoStack()->count(), steps);

    // Undo walks back through the rename: the later steps find the component by its new name.
    d.Undo();
    d.Undo();
    QCOMPARE(t->GetTag(), 0);
    QVERIFY(!t->GetFiltered());
    d.Undo();
    QCOMPARE(t->GetName(), QStringLiteral("OstTable1"));
    d.Undo();
    QCOMPARE(t->GetTableName(), QString());
    d.Redo();
    d.Redo();
    d.Redo();
    QCOMPARE(t->GetTableName(), QStringLiteral("People"));
    QCOMPARE(t->GetName(), QStringLiteral("Customers"));
    QCOMPARE(t->GetTag(), 12);
    QVERIFY(d.CanRedo());

    // A step that cannot be taken back says so; the stack moves on regardless.
    TStudioPeopleDb people;
    d.SetProperty(db, "Location", people.Location());
    QVERIFY(!d.CanRedo());
    db->SetConnected(true); // behind the designer's back
    QSignalSpy failed(&d, &TDesigner::stepFailed);
    try {
        d.Undo();
        QFAIL("the location of a connected database changed");
    } catch (const EComponentError& e) {
        QVERIFY2(e.Message().startsWith("Cannot undo"), qPrintable(e.Message()));
        QVERIFY2(e.Message().contains("connected database"), qPrintable(e.Message()));
    }
    QCOMPARE(failed.count(), 1);
    QVERIFY(d.CanRedo());
    QCOMPARE(db->GetLocation(), people.Location());
}

void TstDesigner::deleteUndoRestoresComponentAndFields() {
    TDataModule root;
    TDesigner d(&root);
    auto* t = static_cast<TOstTable*>(d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 40, 80, 0, 0));
    d.SetProperty(t, "Name", "Table1");
    d.SetProperty(t, "TableName", "People");
    d.SetProperty(t, "Tag", 5);
    d.CreateComponent(&TOstQuery::staticMetaObject, nullptr, 0, 0, 0, 0);
    for (const QString& column : {QStringLiteral("Name"), QStringLiteral("Age")}) {
        auto* f = new TField(&root);
        f->SetName("Table1" + column);
        f->SetFieldName(column);
        f->SetDisplayLabel(column.toUpper());
        f->SetDataSet(t);
    }
    QSignalSpy removed(&d, &IDesigner::componentRemoved);
    d.SelectComponent(t);

    d.DeleteComponent(t);
    QCOMPARE(Names(root), QStringList({"OstQuery1"}));
    QCOMPARE(removed.count(), 3); // the fields went with their dataset
    QVERIFY(d.Selection().isEmpty());

    d.Undo();
    auto* back = qobject_cast<TOstTable*>(root.FindComponent("Table1"));
    QVERIFY(back);
    QCOMPARE(back->GetTableName(), QStringLiteral("People"));
    QCOMPARE(back->GetTag(), 5);
    QCOMPARE(back->DesignLeft(), 40);
    QCOMPARE(back->DesignTop(), 80);
    auto* age = qobject_cast<TField*>(root.FindComponent("Table1Age"));
    QVERIFY(age);
    QCOMPARE(age->DataSet(), back);
    QCOMPARE(age->GetDisplayLabel(), QStringLiteral("AGE"));
    QCOMPARE(PersistentFields(back).size(), 2);

    // Earlier steps still apply to the restored component.
    d.Undo(); // creating the query
    d.Undo();
    QCOMPARE(back->GetTag(), 0);
    d.Redo();
    d.Redo();
    d.Redo();
    QCOMPARE(Names(root), QStringList({"OstQuery1"}));
}

void TstDesigner::modifiedFlag() {
    TDataModule root;
    TDesigner d(&root);
    QSignalSpy modified(&d, &IDesigner::modifiedChanged);
    QVERIFY(!d.IsModified());
    TComponent* t = d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0);
    QVERIFY(d.IsModified());
    QCOMPARE(modified.count(), 1);
    QCOMPARE(modified.last().at(0).toBool(), true);

    d.SetUnmodified(); // saved
    QVERIFY(!d.IsModified());
    QCOMPARE(modified.last().at(0).toBool(), false);
    d.SetProperty(t, "Tag", 3);
    QVERIFY(d.IsModified());
    d.Undo(); // back at the saved state
    QVERIFY(!d.IsModified());
    d.Undo(); // before it
    QVERIFY(d.IsModified());
    d.Redo();
    QVERIFY(!d.IsModified());

    d.Modified(); // a change the designer did not make itself
    QVERIFY(d.IsModified());
    d.SetUnmodified();
    QVERIFY(!d.IsModified());
    QCOMPARE(modified.count(), 8);
}

void TstDesigner::fieldsEditorAddsAndDeletesFields() {
    ClearRegistrations();
    RegisterClasses<TIntegerField>();
    RegisterFieldClass(ftInteger, "TIntegerField");
    TStudioPeopleDb people;
    TDataModule root;
    root.SetName("Module1");
    TDesigner d(&root);
    auto* t = static_cast<TOstTable*>(d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0));
    d.SetProperty(t, "Name", "Table1");
    d.SetProperty(t, "DatabaseName", people.Location());
    d.SetProperty(t, "TableName", "People");
    TComponent* clash = d.CreateComponent(&TOstQuery::staticMetaObject, nullptr, 0, 0, 0, 0);
    d.SetProperty(clash, "Name", "Table1ID");
    d.SetUnmodified();

    TFieldsEditorDialog dialog(t, &d);
    QCOMPARE(dialog.AvailableFieldNames(), QStringList({"ID", "Name", "Age"}));
    QVERIFY(!t->Active()); // looking at the columns left the table closed

    const QList<TField*> added = dialog.AddFields({"Name", "Age"});
    QCOMPARE(added.size(), 2);
    QCOMPARE(added[0]->GetName(), QStringLiteral("Table1Name"));
    QCOMPARE(added[0]->Owner(), &root);
    QCOMPARE(added[0]->DataSet(), t);
    QCOMPARE(added[0]->DataType(), ftString);
    QCOMPARE(added[0]->GetSize(), 30);
    // Without a registration a field gets the class the dataset uses for its type.
    QCOMPARE(added[0]->metaObject()->className(), "TOstStringField");
    QVERIFY(qobject_cast<TIntegerField*>(added[1]));
    QCOMPARE(dialog.FieldList()->count(), 2);
    QCOMPARE(dialog.FieldList()->item(1)->text(), QStringLiteral("Age"));
    QCOMPARE(dialog.AvailableFieldNames(), QStringList({"ID"}));
    QVERIFY(d.IsModified());

    // The value list of a field's FieldName is its dataset's columns.
    TFieldNameProperty fieldName(&d, {added[0]}, added[0]->metaObject()->property(added[0]->metaObject()->indexOfProperty("FieldName")));
    QStringList columns;
    fieldName.GetValues(columns);
    QCOMPARE(columns, QStringList({"ID", "Name", "Age"}));
    QVERIFY(fieldName.GetAttributes().testFlags(paValueList | paSortList));

    // One step each way for the lot.
    d.Undo();
    QVERIFY(PersistentFields(t).isEmpty());
    d.Redo();
    QCOMPARE(PersistentFields(t).size(), 2);

    // Fields added to an open table are bound at once; the taken name gets a number.
    d.SetProperty(t, "Active", true);
    const QList<TField*> id = dialog.AddFields({"id"});
    QCOMPARE(id[0]->GetName(), QStringLiteral("Table1ID1"));
    QVERIFY(t->Active());
    QCOMPARE(t->Fields().Count(), 3);
    t->Last();
    QCOMPARE(t->FieldByName("Name")->AsString(), QStringLiteral("Bob"));

    TField* age = qobject_cast<TField*>(root.FindComponent("Table1Age"));
    dialog.DeleteFields({age});
    QVERIFY(!root.FindComponent("Table1Age"));
    QVERIFY(t->Active());
    QCOMPARE(t->Fields().Count(), 2);
    QVERIFY(!t->FindField("Age"));
    d.Undo();
    QVERIFY(t->Active());
    QCOMPARE(t->FieldByName("Age")->AsInteger(), 31); // bound again, at the first record after reopening

    // A column that is not there changes nothing.
    const int steps = d.UndoStack()->count();
    try {
        dialog.AddFields({"Nope"});
        QFAIL("a field for a missing column was added");
    } catch (const EComponentError& e) {
        QCOMPARE(e.Message(), QStringLiteral("Table1 has no field Nope"));
    }
    QCOMPARE(d.UndoStack()->count(), steps);

    // Deleting the dataset closes its fields editor and takes the fields.
    dialog.show();
    d.DeleteComponent(t);
    QVERIFY(!dialog.isVisible());
    QVERIFY(!dialog.DataSet());
    QCOMPARE(Names(root), QStringList({"Table1ID"}));
    ClearRegistrations();
}

void TstDesigner::referencesFollowRenamesDeletesAndPastes() {
    ClearRegistrations();
    TDataModule root;
    root.SetName("Module1");
    TDesigner d(&root);
    TComponent* table = d.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0);
    TComponent* source = d.CreateComponent(&TDataSource::staticMetaObject, nullptr, 40, 0, 0, 0);
    TComponent* states = d.CreateComponent(&TOstEnumValueSet::staticMetaObject, nullptr, 80, 0, 0, 0);
    TComponent* other = d.CreateComponent(&TOstEnumValueSet::staticMetaObject, nullptr, 120, 0, 0, 0);

    // The inspector offers the components of the referenced class and refuses others.
    auto editor = GetPropertyEditor(&d, {source}, "DataSet");
    QVERIFY(dynamic_cast<TComponentProperty*>(editor.get()));
    QStringList values;
    editor->GetValues(values);
    QCOMPARE(values, QStringList({"OstTable1"}));
    editor->SetValue("osttable1");
    QCOMPARE(source->property("DataSet").toString(), QStringLiteral("OstTable1"));
    QVERIFY_THROWS_EXCEPTION(EComponentError, editor->SetValue("OstEnumValueSet1"));
    QVERIFY_THROWS_EXCEPTION(EComponentError, editor->SetValue("Nobody"));
    QCOMPARE(source->property("DataSet").toString(), QStringLiteral("OstTable1"));
    d.SetProperty(states, "DataSource", "DataSource1");
    d.SetProperty(other, "EnumField", "OstTable1"); // a plain string that happens to match is no reference

    // A rename takes the references along, as one step.
    const int steps = d.UndoStack()->count();
    d.SetProperty(table, "Name", "Items");
    QCOMPARE(source->property("DataSet").toString(), QStringLiteral("Items"));
    QCOMPARE(other->property("EnumField").toString(), QStringLiteral("OstTable1"));
    QCOMPARE(d.UndoStack()->count(), steps + 1);
    d.Undo();
    QCOMPARE(table->GetName(), QStringLiteral("OstTable1"));
    QCOMPARE(source->property("DataSet").toString(), QStringLiteral("OstTable1"));
    d.Redo();
    QCOMPARE(source->property("DataSet").toString(), QStringLiteral("Items"));

    // Deleting clears the references to what went; undo brings both back.
    d.DeleteComponent(source);
    QCOMPARE(states->property("DataSource").toString(), QString());
    d.Undo();
    source = root.FindComponent("DataSource1"); // restored as a new object
    QCOMPARE(states->property("DataSource").toString(), QStringLiteral("DataSource1"));
    QCOMPARE(qobject_cast<TOstEnumValueSet*>(states)->DataSet(), table);

    // Pasted copies refer to each other, not to the originals.
    const QList<TComponent*> pasted = d.InsertComponents(ComponentsToJson({table, source, states}));
    QCOMPARE(pasted.size(), 3);
    QCOMPARE(pasted[0]->GetName(), QStringLiteral("Items1"));
    QCOMPARE(pasted[1]->property("DataSet").toString(), QStringLiteral("Items1"));
    QCOMPARE(pasted[2]->property("DataSource").toString(), pasted[1]->GetName());
    // A copy without its target keeps referring to the original.
    const QList<TComponent*> alone = d.InsertComponents(ComponentsToJson({states}));
    QCOMPARE(alone[0]->property("DataSource").toString(), QStringLiteral("DataSource1"));
}

QTEST_MAIN(TstDesigner)
#include "tst_designer.moc"
