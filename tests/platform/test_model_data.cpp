#include "PLVCommon/platform/PLVModelData.h"

#include <QThread>

#include <thread>

#include <gtest/gtest.h>

#include <atomic>

TEST(ModelData, CopiesShareOneDictionaryAndNullHandlesStayInert)
{
    PLVModelData none;
    none.setValue(QStringLiteral("a"), 1);
    EXPECT_TRUE(none.isNull());
    EXPECT_FALSE(none.value(QStringLiteral("a")).isValid());
    EXPECT_EQ(none.generation(), 0u);

    const PLVModelData a = PLVModelData::create();
    const PLVModelData b = a;
    a.setValue(QStringLiteral("cpu"), 0.5f);
    EXPECT_EQ(b.value(QStringLiteral("cpu")).toFloat(), 0.5f);
    EXPECT_EQ(a, b);
    EXPECT_NE(a, PLVModelData::create());

    const quint64 before = a.generation();
    a.insert({{QStringLiteral("x"), 1}, {QStringLiteral("y"), 2}});
    EXPECT_EQ(a.generation(), before + 1) << "one step for a batch";
    a.remove(QStringLiteral("missing"));
    EXPECT_EQ(a.generation(), before + 1) << "removing nothing changes nothing";
    a.remove(QStringLiteral("x"));
    EXPECT_EQ(b.count(), 2);
    a.clear();
    EXPECT_EQ(b.count(), 0);

    // Snapshots do not move when the dictionary does.
    a.setValue(QStringLiteral("k"), 1);
    const QVariantMap snap = a.snapshot();
    a.setValue(QStringLiteral("k"), 2);
    EXPECT_EQ(snap.value(QStringLiteral("k")).toInt(), 1);

    // Travels through QVariant as itself (for bindings).
    const QVariant v = QVariant::fromValue(a);
    EXPECT_EQ(v.value<PLVModelData>(), a);
}

TEST(ModelData, WritersAndReadersOnManyThreadsSeeConsistentBatches)
{
    // Writers store pairs that must always agree; readers check every snapshot.
    const PLVModelData data = PLVModelData::create();
    std::atomic<bool> stop{false};
    std::atomic<int> torn{0};
    std::atomic<long> reads{0};
    std::vector<std::thread> writers, readers;
    for (int w = 0; w < 3; ++w)
        writers.emplace_back([&, w] {
            for (int i = 0; i < 20000; ++i) {
                const int v = w * 1000000 + i;
                data.insert({{QStringLiteral("a"), v}, {QStringLiteral("b"), v}, {QStringLiteral("text"), QString::number(v)}});
                if (i % 97 == 0)
                    data.remove(QStringLiteral("text"));
            }
        });
    for (int r = 0; r < 3; ++r)
        readers.emplace_back([&] {
            while (!stop.load()) {
                const QVariantMap m = data.snapshot();
                if (m.value(QStringLiteral("a")) != m.value(QStringLiteral("b")))
                    ++torn;
                (void)data.value(QStringLiteral("text")).toString().size();
                (void)data.generation();
                ++reads;
            }
        });
    for (std::thread &t : writers)
        t.join();
    stop = true;
    for (std::thread &t : readers)
        t.join();
    EXPECT_EQ(torn.load(), 0);
    EXPECT_GT(reads.load(), 0);
    EXPECT_GE(data.generation(), 60000u);
}
