// Library-level data-access types: field types of TFieldDef and index options.
#pragma once

#include <QFlags>

enum TFieldType {
    ftUnknown, ftString, ftSmallint, ftInteger, ftWord, ftBoolean, ftFloat, ftCurrency, ftBCD, ftDate,
    ftTime, ftDateTime, ftBytes, ftVarBytes, ftAutoInc, ftBlob, ftMemo, ftGraphic, ftFmtMemo, ftParadoxOle,
    ftDBaseOle, ftTypedBinary, ftCursor, ftFixedChar, ftWideString, ftLargeint, ftADT, ftArray, ftReference,
    ftDataSet, ftOraBlob, ftOraClob, ftVariant, ftInterface, ftIDispatch, ftGuid, ftTimeStamp, ftFMTBcd,
    ftFixedWideChar, ftWideMemo
};

const char* FieldTypeName(TFieldType t);

enum TIndexOption {
    ixPrimary = 0x01,
    ixUnique = 0x02,
    ixDescending = 0x04,
    ixCaseInsensitive = 0x08,
    ixExpression = 0x10,
    ixNonMaintained = 0x20,
};
Q_DECLARE_FLAGS(TIndexOptions, TIndexOption)
Q_DECLARE_OPERATORS_FOR_FLAGS(TIndexOptions)

enum TDataSetState { dsInactive, dsBrowse, dsEdit, dsInsert };
