// libFuzzer harness for the property-list reader: whatever the bytes, reading
// must neither crash nor let the guard pass something the parser then chokes on.
#include "PLVCommon/platform/PLVPlist.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QVariant v = PLVPlist::fromData(bytes);
    if (v.isValid())
        (void)PLVPlist::toXml(v);
    return 0;
}
