// Fuzzing the text the helper and its supervision read: powercap counter
// files (the kernel's, but read by a privileged service) and the installer's
// desktop entry (any user can write one in their data folder). The first byte
// picks the reader. Built by hand with libFuzzer (see README.md); in the test
// build it replays a few seeds.
#include "PLVCommon/helper/PLVHelperObject.h"
#include "PLVCommon/linux/PLVPowercap.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int plvFuzzHelper(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    switch (data[0] % 3) {
    case 0:
        if (const auto v = PLVPowercap::parseCounter(bytes)) {
            // A counter is its digits and nothing else, leading zeros allowed.
            QByteArray digits = bytes.endsWith('\n') ? bytes.chopped(1) : bytes;
            while (digits.size() > 1 && digits.startsWith('0'))
                digits.remove(0, 1);
            if (QByteArray::number(*v) != digits)
                std::abort();
        }
        break;
    case 1: {
        const QString version = PLVHelperObject::bundleVersionInDesktopEntry(bytes);
        (void)PLVHelperObject::integerValue(version);
        break;
    }
    case 2: {
        quint64 v[3] = {0, 0, 0};
        std::memcpy(v, bytes.constData(), size_t(qMin<qsizetype>(bytes.size(), sizeof v)));
        if (const auto d = PLVPowercap::energyDelta(v[0], v[1], v[2])) {
            // Never more than one trip around the counter.
            if (v[1] >= v[0] ? *d != v[1] - v[0] : *d > v[2])
                std::abort();
        }
        break;
    }
    }
    return 0;
}

#ifdef PLV_FUZZ_MAIN
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return plvFuzzHelper(data, size);
}
#else
#include <gtest/gtest.h>

TEST(FuzzHelper, SeedsRunThroughEveryReader)
{
    const QByteArray seeds[] = {"262143328850\n", "18446744073709551615", "18446744073709551616", "-1\n", "",
                                "[Desktop Entry]\nX-PLV-Bundle-Version=20190630\n", "[Desktop Entry\n=\n\n",
                                QByteArray(24, '\xff')};
    for (const QByteArray &seed : seeds)
        for (uint8_t reader = 0; reader < 3; ++reader) {
            const QByteArray input = char(reader) + seed;
            EXPECT_EQ(plvFuzzHelper(reinterpret_cast<const uint8_t *>(input.constData()), size_t(input.size())), 0);
        }
}
#endif
