// What answers cost that no printer sends. This file counts what is allocated, so it is a program of its own.

#include <malloc.h>

#include <cstdlib>
#include <new>

#include "protocol/LogosIDList.h"
#include "protocol/ProtocolAnswer.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/ToolsData.h"

namespace {

std::size_t allocated = 0;
std::size_t peak = 0;

}  // namespace

// Not inlined: beside an allocation of its own the compiler would take `free` for the wrong partner of `new`.
__attribute__((noinline)) void* operator new(std::size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    allocated += malloc_usable_size(block);
    peak = std::max(peak, allocated);
    return block;
}
__attribute__((noinline)) void operator delete(void* block) noexcept {
    allocated -= malloc_usable_size(block);
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}

namespace {

/// The most that was allocated at one time while the answer was split and decoded.
std::size_t CostOf(const std::string& answer) {
    const std::string bytes = "\x02" + answer;
    const std::size_t before = allocated;
    peak = allocated;
    {
        ProtocollFields fields;
        fields.CreateFields(reinterpret_cast<const unsigned char*>(bytes.data()),
                            static_cast<int>(bytes.size()));
        ProtocolRecord::Decode(fields);
    }
    EXPECT_EQ(allocated, before) << "something was not given back";
    return peak - before;
}

std::string Repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i) all += text;
    return all;
}

TEST(ProtocolRecord, IsMovedAndAskedForItsKind) {
    ProtocollFields fields;
    Split(fields, Wire("<C40><12>"));
    ProtocolRecord record = ProtocolRecord::Decode(fields);
    EXPECT_EQ(record.As<ToolsData>(), nullptr);
    ProtocolRecord other(std::move(record));
    ASSERT_NE(other.As<ProtocollDataAvailable>(), nullptr);
    other = ProtocolRecord();
    EXPECT_EQ(other.As<ProtocollDataAvailable>(), nullptr);
}

TEST(ProtocolRecord, CostsWhatItsAnswerHoldsNotWhatItAnnounces) {
    const std::string line("line\0", 5);
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"<C2>", line, ""},
        {"<C3>", "<7>", "<0>"},
        {"<C48>", "<1><2><BMP><Y><M1><6><7X8><9><10>", "<Y>"},
        {"<C49>", "<7>", "<0>"},
        {"<C4><1>", "<H><1><2>", "<9>"},
        {"<C4><1><0><1>" + line + "<0><1><1><1>", line, "<0>"},
    };
    for (const auto& [head, unit, tail] : cases) {
        const std::string body = Repeated(unit, 1000) + tail;
        const std::size_t honest = CostOf(head + "<1000>" + body);
        for (const char* count : {"<1000000>", "<2147483647>", "<4294967295>", "<99999999999999999999>"})
            EXPECT_LE(CostOf(head + count + body), honest + honest / 8 + 1024) << head << count;
    }
    EXPECT_LE(CostOf("<C96><2147483647><DATABYTES>1234</DATABYTES><0>"), 8192U);
}

TEST(ProtocolRecord, CostsASmallMultipleOfAnyAnswer) {
    constexpr std::size_t kMostPerField = 256;
    for (const std::string unit : {"\x02", "<>", "<1>", "<H,D>"})
        EXPECT_LE(CostOf("<C3>" + Repeated(unit, 270000)), ProtocollFields::kMaxFields * kMostPerField)
            << unit;
    const std::string text(std::size_t{1} << 20U, '<');
    for (const std::string head : {"<C2><1>", "<C4><1><0><4>", "<C4><1><1>", "<C1>", "<C112><U3>"})
        EXPECT_LE(CostOf(head + text + ";>" + '\0'), text.size() * 6) << head;
}

// A list that sorts at each identifier, or an element that is compared with all before it, takes minutes
// here.
TEST(ProtocolRecord, TakesNoTimeForLongLists) {
    constexpr int kMany = 100000;
    std::string ids = "<C49><100000>";
    for (int i = kMany; i > 0; --i) ids += "<" + std::to_string(i) + ">";
    ProtocollFields fields;
    Split(fields, Wire(Pieces{ids, "#"}));
    const ProtocolRecord logos = ProtocolRecord::Decode(fields);
    ASSERT_NE(logos.As<LogosIDList>(), nullptr);
    EXPECT_EQ(logos.As<LogosIDList>()->GetIDs().front(), 1U);
    Split(fields, Wire(Pieces{"<C4><1><0><1>d~<0><0><99999><0><100000>" + Repeated("x~", kMany), "#"}));
    EXPECT_EQ(ProtocolRecord::Decode(fields).type(), OBJTYPE_ITEM_LIST);
}

}  // namespace
