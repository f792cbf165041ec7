#include <gtest/gtest.h>

#include <string>

#include "EngineFixture.h"
#include "engine/EffectUnits.h"
#include "engine/InsertUnits.h"
#include "engine/UnitFactory.h"

using namespace MV;
using namespace MV::Test;

namespace {

template <typename U>
std::string errorOf(U&& action) {
    try {
        action();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no error";
}

// Every parameter's text reads back into the same text on a fresh unit of the type.
template <typename Make>
void expectTextsReadBack(Make make, int types) {
    for (int type = 1; type <= types; ++type) {
        auto unit = make(type);
        auto fresh = make(type);
        ASSERT_TRUE(unit && fresh) << type;
        for (int i = 0; i < unit->paramCount; ++i) {
            const std::string text = unit->param(i).text();
            fresh->param(i).setText(text);
            EXPECT_EQ(fresh->param(i).text(), text) << unit->typeName() << " " << unit->param(i).key();
        }
    }
}

}  // namespace

TEST(EffectUnits, TextsIndicesAndCopies) {
    expectTextsReadBack(FX::createEffectUnit, 8);
    expectTextsReadBack(FX::createInsertUnit, 10);
    EXPECT_FALSE(FX::createEffectUnit(0));
    EXPECT_FALSE(FX::createInsertUnit(11));

    auto reverb = FX::createEffectUnit(int32_t(FX::EffectType::Reverb));
    EXPECT_EQ(reverb->param(7).key(), "High cut");
    EXPECT_EQ(errorOf([&] { reverb->param(8); }), "Invalid param 8");

    auto chorus = FX::createEffectUnit(int32_t(FX::EffectType::Chorus));
    auto delay = FX::createEffectUnit(int32_t(FX::EffectType::Delay));
    EXPECT_EQ(errorOf([&] { FX::copyParams<FX::Effect>(*chorus, *delay); }), "fx");

    // The delay's text follows its sync, and a clone keeps values, binding and routing.
    const FX::UnitFactory factory;
    factory.setParam(*delay, "sync", "Tempo");
    factory.setParam(*delay, "delay", "1/8T");
    factory.setAutomation(*delay, "feedback", 12);
    delay->bypass = true;
    delay->output = 3;
    auto copy = delay->clone();
    EXPECT_EQ(factory.params(*copy), factory.params(*delay));
    EXPECT_EQ(copy->param(6).text(), "1/8T");
    EXPECT_TRUE(copy->bypass);
    EXPECT_EQ(copy->output, 3);
    factory.setParam(*copy, "sync", "None");
    factory.setParam(*copy, "delay", "750ms");
    EXPECT_EQ(copy->param(6).text(), "750.0ms");

    auto crusher = FX::createInsertUnit(int32_t(FX::InsertType::Bitcrusher));
    auto processor = crusher->createProcessor(ZnPlug::ProcessContext{});
    auto gloubi = FX::createInsertUnit(int32_t(FX::InsertType::Gloubi));
    EXPECT_EQ(gloubi->paramCount, 1);
    EXPECT_EQ(errorOf([&] { processor->update(*gloubi); }), "Bad effect: 2!=9");
}

TEST(EffectUnits, BusUnitFollowsItsAutomationCellWithinTheBlock) {
    Morvek engine;
    Host host(engine, 64);
    // A constant 1 on FX2 feeds an equalizer on FX1, whose level is bound to "Param 05"; with
    // all gains at 1 the equalizer gives back its input three samples late.
    auto eq = FX::createEffectUnit(int32_t(FX::EffectType::Equalizer));
    eq->param(2).setAutomation(5);
    eq->output = 7;
    auto feed = ZnLib::makeRef<ConstEffect>(1.0f, uint8_t(1));
    engine.performance().fx[0] = eq;
    engine.performance().fx[1] = feed;
    engine.reconfigure();
    engine.setParameter(5, 0.25f);
    host.run(64);
    EXPECT_EQ(host.at(0, 2), 0.0f);
    EXPECT_NEAR(host.at(0, 40), 0.25f, 1e-5f);
    engine.setParameter(5, 1.0f);
    host.run(64);
    EXPECT_NEAR(host.at(0, 0), 1.0f, 1e-5f);
    EXPECT_NEAR(host.at(1, 63), 1.0f, 1e-5f);

    // Bypassed with its default dry mix of 0, the unit passes nothing.
    eq->bypass = true;
    host.run(64);
    EXPECT_EQ(host.at(0, 10), 0.0f);
}
