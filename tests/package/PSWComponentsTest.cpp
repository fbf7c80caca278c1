#include "package/PSWComponents.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Values = std::vector<PSWCOMPONENTS>;

PSWComponents ListOf(const Values& values) {
    PSWComponents list;
    for (const PSWCOMPONENTS value : values) list.Add(value);
    return list;
}

std::string Dump(const PSWComponents& list) {
    testing::internal::CaptureStdout();
    list.DumpWholeList();
    return testing::internal::GetCapturedStdout();
}

TEST(PSWComponents, AnswersWhatTheListHolds) {
    const struct {
        Values values;
        bool toChoose;
        bool begin;
        bool after;
    } cases[] = {
        {{}, false, false, false},
        {{0x2002}, false, true, false},  // the entry at index 0 is never looked at
        {{0, 0x2004}, true, true, false},
        {{0, 0}, false, false, false},
        {{0x3008, 0}, false, false, true},
        {{0, 0, 0x3010}, true, false, true},
        {{0, 0x1000}, false, false, false},  // after, but no module
    };
    for (const auto& each : cases) {
        const PSWComponents list = ListOf(each.values);
        EXPECT_EQ(list.HasModuleToChoose(), each.toChoose) << Dump(list);
        EXPECT_EQ(list.HasBeginModules(), each.begin) << Dump(list);
        EXPECT_EQ(list.HasAfterModules(), each.after) << Dump(list);
    }
}

TEST(PSWComponents, IndexesOutOfRangeReadAsTheFirstOrAsFirmware) {
    const PSWComponents empty;
    EXPECT_EQ(empty.Get(0), 0U);
    EXPECT_EQ(empty.Get(-1), 0U);
    EXPECT_FALSE(empty.HasComponent(0));
    EXPECT_EQ(empty.GetComponentIndex(0x2002), 0);

    const PSWComponents list = ListOf({0x3008, 0x2004, 0x2004});
    EXPECT_EQ(list.Get(-7), 0x3008U);
    EXPECT_EQ(list.Get(3), 0U);
    EXPECT_TRUE(list.IsModuleAfter(0) && !list.IsModuleBefore(0));
    EXPECT_TRUE(list.IsModuleBefore(1) && list.IsModuleBefore(5));
    EXPECT_TRUE(list.IsModule(2) && !list.IsModule(3));
    EXPECT_TRUE(list.HasComponent(0x2004) && !list.HasComponent(0));
    EXPECT_EQ(list.GetComponentIndex(0x2004), 1) << "the first match";
    EXPECT_EQ(list.GetComponentIndex(0x2002), 0);
}

TEST(PSWComponents, ModulesChangeSidesByTheirFlag) {
    PSWComponents list = ListOf({0x2002, 0, 0x3008, 0x1000});
    list.ConvertModulesBeforeToAfter();
    EXPECT_EQ(Dump(list),
              "PSWComponents list Len 4 \n[0] : 0x3002 \n[1] : 0x0 \n[2] : 0x3008 \n[3] : 0x1000 \n");
    list.ConvertModulesAfterToBefore();
    EXPECT_EQ(Dump(list),
              "PSWComponents list Len 4 \n[0] : 0x2002 \n[1] : 0x0 \n[2] : 0x2008 \n[3] : 0x1000 \n");
    list.ResetList();
    EXPECT_EQ(Dump(list), "PSWComponents list Len 0 \n");
}

}  // namespace
