// The shared part of every sampling module: each tick published whole, a
// dropped tick keeping what is on screen, histories of things that left
// forgotten, and samplers rebuilt for a new system root.
#include "PLVCommon/core/PLVSamplingModule.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

class ScriptedModel : public PLVSamplingModuleModel
{
public:
    QList<QVariantMap> script; // one dictionary per tick; "history:<key>" entries push v onto <key>
    QStringList roots;

protected:
    QVariantMap sample() override
    {
        QVariantMap values = script.takeFirst();
        for (const QString &key : values.keys())
            if (key.startsWith(u"history:"_s))
                values.insert(key, pushHistory(key.mid(8), values.value(key).toFloat()));
        return values;
    }
    void systemRootDidChange(const PLVSysRoot &root) override { roots << root.root(); }
};

} // namespace

TEST(SamplingModule, PublishesEachTickWholeAndForgetsWhatLeft)
{
    ScriptedModel model;
    model.init();
    model.script = {{{u"a"_s, 1}, {u"b"_s, 2}, {u"history:t"_s, 5.0f}},
                    {},
                    {{u"a"_s, 3}, {u"history:u"_s, 1.0f}},
                    {{u"history:t"_s, 7.0f}}};
    model.setSystemRoot(u"/fixture"_s);
    model.updateModel();
    const PLVModelData data = model.modelData();
    EXPECT_EQ(data.value(u"b"_s), 2);
    EXPECT_EQ(data.value(u"history:t"_s).toList().size(), 350);
    EXPECT_EQ(model.roots, QStringList{u"/fixture"_s});

    model.updateModel(); // a dropped tick
    EXPECT_EQ(data.value(u"b"_s), 2);

    model.updateModel();
    EXPECT_EQ(data.value(u"a"_s), 3);
    EXPECT_FALSE(data.contains(u"b"_s)) << "a key of the previous tick only is removed";
    EXPECT_FALSE(data.contains(u"history:t"_s));

    // The history of "t" was not pushed during the last tick: it starts afresh.
    model.updateModel();
    const QVariantList t = data.value(u"history:t"_s).toList();
    EXPECT_EQ(t.last().toFloat(), 7.0f);
    EXPECT_EQ(t[t.size() - 2].toFloat(), 0.0f);
    EXPECT_EQ(model.roots.size(), 1) << "samplers are rebuilt only when the root changes";
}
