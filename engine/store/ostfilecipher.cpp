// The file cipher the store starts with: every file is plain.
#include "engine/store/ostfilecipher.h"

#include "engine/types/osttypes.h"

namespace {

class PlainFiles final : public OstFileCipher {
public:
    void BeforeOpen(OstConnection&) override {}
    void Closed(OstConnection&) override {}
    void BeforeAttach(OstConnection&, const QString&, const QString&, bool) override {}
    void AfterAttach(OstConnection&, const QString&, const QString&) override {}
    bool UnlockQuietly(OstConnection&, const QString&) override { return true; }
    int StoredMethod(const QString&) override { return emNone; }
    void FollowTable(OstConnection&, const QString&, const QString&) override {}
};

OstFileCipher*& Installed() {
    static PlainFiles plain;
    static OstFileCipher* cipher = &plain;
    return cipher;
}

} // namespace

OstFileCipher& OstCipher() { return *Installed(); }

void OstInstallFileCipher(OstFileCipher* cipher) {
    static PlainFiles plain;
    Installed() = cipher ? cipher : &plain;
}
