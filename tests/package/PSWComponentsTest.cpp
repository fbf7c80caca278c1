#include "package/PSWComponents.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

namespace {

/// What every question about a list gives, for the indexes from -1 to behind the end.
std::string Answers(const PSWComponents& list) {
    std::ostringstream text;
    text << std::hex << "choose " << list.HasModuleToChoose() << " begin " << list.HasBeginModules()
         << " after " << list.HasAfterModules() << " has " << list.HasComponent(0x2004) << " at "
         << list.GetComponentIndex(0x2004);
    for (int i = -1; i <= list.Size(); ++i)
        text << ' ' << list.Get(i) << ':' << list.IsModule(i) << list.IsModuleBefore(i)
             << list.IsModuleAfter(i);
    return text.str();
}

TEST(PSWComponents, AnswersWhatTheListHolds) {
    const std::pair<std::vector<PSWCOMPONENTS>, const char*> cases[] = {
        {{}, "choose 0 begin 0 after 0 has 0 at 0 0:010 0:010"},
        {{0x2002}, "choose 0 begin 1 after 0 has 0 at 0 2002:110 2002:110 0:010"},
        {{0, 0x2004, 0x2004}, "choose 1 begin 1 after 0 has 1 at 1 0:010 0:010 2004:110 2004:110 0:010"},
        {{0x3008, 0}, "choose 0 begin 0 after 1 has 0 at 0 3008:101 3008:101 0:010 0:010"},
        {{0, 0, 0x3010}, "choose 1 begin 0 after 1 has 0 at 0 0:010 0:010 0:010 3010:101 0:010"},
        {{0, 0x1000}, "choose 0 begin 0 after 0 has 0 at 0 0:010 0:010 1000:001 0:010"},
    };
    for (const auto& [values, answers] : cases) {
        PSWComponents list;
        for (const PSWCOMPONENTS value : values) list.Add(value);
        EXPECT_EQ(Answers(list), answers);
    }
}

TEST(PSWComponents, ModulesChangeSidesByTheirFlag) {
    PSWComponents list;
    for (const PSWCOMPONENTS value : {0x2002U, 0U, 0x3008U, 0x1000U}) list.Add(value);
    testing::internal::CaptureStdout();
    list.ConvertModulesBeforeToAfter();
    list.DumpWholeList();
    list.ConvertModulesAfterToBefore();
    list.DumpWholeList();
    list.ResetList();
    list.DumpWholeList();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "PSWComponents list Len 4 \n[0] : 0x3002 \n[1] : 0x0 \n[2] : 0x3008 \n[3] : 0x1000 \n"
              "PSWComponents list Len 4 \n[0] : 0x2002 \n[1] : 0x0 \n[2] : 0x2008 \n[3] : 0x1000 \n"
              "PSWComponents list Len 0 \n");
}

}  // namespace
