#!/usr/bin/env bash
# Makes a sample single-file database (build/sample/shop.ostd) with customers
# and orders, and a data module (build/sample/Shop.ostdm) that designs it:
# a database component, two tables, a data source and a query. Existing
# sample files are kept. Prints the data module's path.
set -euo pipefail
cd "$(dirname "$0")/.."
ostra=build/cli/ostra
dir="$PWD/build/sample"
db="$dir/shop.ostd"
module="$dir/Shop.ostdm"
mkdir -p "$dir"
if [ ! -f "$db" ]; then
  $ostra create-db "$db" >/dev/null
  cat > "$dir/customers.json" <<'JSON'
{ "name": "Customers",
  "columns": [
    { "name": "ID",      "type": "dtAutoInc", "spec": "\"Name\"" },
    { "name": "Name",    "type": "dtString", "size": 40, "nullable": false },
    { "name": "City",    "type": "dtString", "size": 30 },
    { "name": "Segment", "type": "dtEnum", "spec": "retail,wholesale,online" },
    { "name": "Logo",    "type": "dtBlob" } ],
  "indexes": [ { "name": "ByName", "fields": "Name" } ] }
JSON
  cat > "$dir/orders.json" <<'JSON'
{ "name": "Orders",
  "columns": [
    { "name": "OrderNo",  "type": "dtAutoInc" },
    { "name": "Customer", "type": "dtLink", "spec": "Customers" },
    { "name": "Placed",   "type": "dtDate" },
    { "name": "Amount",   "type": "dtFloat", "precision": 2 } ] }
JSON
  $ostra create-table "$db" "$dir/customers.json" >/dev/null
  $ostra create-table "$db" "$dir/orders.json" >/dev/null
  $ostra sql "$db" "INSERT INTO Customers(Name, City, Segment) VALUES
    ('Ada Lovelace','London','retail'), ('Alan Turing','Wilmslow','online'),
    ('Grace Hopper','Arlington','wholesale')" >/dev/null
  $ostra sql "$db" "INSERT INTO Orders(Customer, Placed, Amount) VALUES
    (1,'2024-05-01',120.5), (1,'2024-06-12',80), (3,'2024-06-30',310.25)" >/dev/null
fi
if [ ! -f "$module" ]; then
  cat > "$module" <<JSON
{
  "format": "ostra-datamodule", "version": 1, "class": "TDataModule", "name": "Shop",
  "properties": {},
  "components": [
    { "class": "TOstDatabase", "name": "ShopDb", "left": 24, "top": 24,
      "properties": { "DatabaseName": "Shop", "Location": "$db", "DatabaseType": 1, "Connected": true } },
    { "class": "TOstTable", "name": "Customers", "left": 120, "top": 24,
      "properties": { "DatabaseName": "Shop", "TableName": "Customers", "IndexName": "ByName", "Active": true } },
    { "class": "TOstTable", "name": "Orders", "left": 216, "top": 24,
      "properties": { "DatabaseName": "Shop", "TableName": "Orders" } },
    { "class": "TDataSource", "name": "CustomersSource", "left": 120, "top": 104,
      "properties": { "DataSet": "Customers" } },
    { "class": "TOstQuery", "name": "BigOrders", "left": 216, "top": 104,
      "properties": { "DatabaseName": "Shop", "SQL": ["SELECT * FROM Orders", "WHERE Amount > 100"] } }
  ]
}
JSON
fi
echo "$module"
