#include "ostbatchmove.h"

#include "sysutils.h"
#include "tdataset.h"

TOstBatchMove::TOstBatchMove(TComponent* owner) : TComponent(owner) {}
TOstBatchMove::~TOstBatchMove() = default;

void TOstBatchMove::SetRecordCount(int n) {
    if (n < 0) throw EComponentError(QStringLiteral("RecordCount cannot be negative"));
    m_recordCount = n;
}

TDataSet* TOstBatchMove::Source() const { return Referenced<TDataSet>(m_source); }
TDataSet* TOstBatchMove::Destination() const { return Referenced<TDataSet>(m_destination); }
