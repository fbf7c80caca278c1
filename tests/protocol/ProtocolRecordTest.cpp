// The owner of records, and what answers cost that no printer sends. This file counts what is allocated, so
// it is a program of its own.

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "protocol/LogosIDList.h"
#include "protocol/ProtocolAnswer.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/SetupItemTypeList.h"
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
void* operator new[](std::size_t size) {
    return operator new(size);
}
__attribute__((noinline)) void operator delete(void* block) noexcept {
    allocated -= malloc_usable_size(block);
    std::free(block);
}
void operator delete[](void* block) noexcept {
    operator delete(block);
}
void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    operator delete(block);
}

namespace {

/// The most that was allocated at one time while `bytes` were split and decoded, and whether a record came.
struct Cost {
    std::size_t bytes;
    bool record;
};

Cost CostOf(const std::string& bytes) {
    const std::vector<unsigned char> answer(bytes.begin(), bytes.end());
    const std::size_t before = allocated;
    peak = allocated;
    bool record = false;
    {
        ProtocollFields fields;
        fields.CreateFields(answer.data(), static_cast<int>(answer.size()));
        record = static_cast<bool>(ProtocolRecord::Decode(fields));
    }
    EXPECT_EQ(allocated, before) << "something was not given back";
    return {peak - before, record};
}

std::string Repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i) all += text;
    return all;
}

TEST(ProtocolRecord, IsMovedAndAskedForItsKind) {
    ProtocolRecord record = Decode(Pieces{"<C40>", "<12>"}).record;
    EXPECT_EQ(record.As<ToolsData>(), nullptr);
    ProtocolRecord other(std::move(record));
    ASSERT_NE(other.As<ProtocollDataAvailable>(), nullptr);
    EXPECT_EQ(other.As<ProtocollDataAvailable>()->Available, 12U);
    other = ProtocolRecord();
    EXPECT_EQ(other.As<ProtocollDataAvailable>(), nullptr);
}

TEST(ProtocolRecord, CostsWhatItsAnswerHoldsNotWhatItAnnounces) {
    const struct {
        std::string head;
        std::string unit;
        std::string tail;
    } cases[] = {
        {"<C2>", Line("line"), ""},
        {"<C3>", "<7>", "<0>"},
        {"<C48>", "<1><2><BMP><Y><M1><6><7X8><9><10>", "<Y>"},
        {"<C49>", "<7>", "<0>"},
        {"<C4><1>", "<H><1><2>", "<9>"},
        {"<C4><1><0><1>" + Line("d") + "<0><1><1><1>", Line("x"), "<0>"},
    };
    for (const auto& row : cases) {
        const std::string body = Repeated(row.unit, 1000) + row.tail;
        const Cost honest = CostOf("\x02" + row.head + "<1000>" + body);
        for (const char* count : {"<1000000>", "<2147483647>", "<4294967295>", "<99999999999999999999>"}) {
            const Cost lying = CostOf("\x02" + row.head + count + body);
            EXPECT_TRUE(!lying.record || count[1] > '2') << row.head << count;  // negative or 0: no pieces
            EXPECT_LE(lying.bytes, honest.bytes + honest.bytes / 8 + 1024) << row.head << count;
        }
    }
    EXPECT_LE(CostOf("\x02<C96><2147483647>" + DataBytes("1234") + "<0>").bytes, 8192U);
}

TEST(ProtocolRecord, CostsASmallMultipleOfAnyAnswer) {
    constexpr std::size_t kFlood = std::size_t{4} * 1024 * 1024;
    constexpr std::size_t kMostPerField = 256;
    for (const std::string unit : {"\x02", "<>", "<1>", "<H,D>"}) {
        const std::string flood = "\x02<C3>" + Repeated(unit, kFlood / unit.size());
        EXPECT_LE(CostOf(flood).bytes, ProtocollFields::kMaxFields * kMostPerField) << unit;
        EXPECT_LE(CostOf(flood.substr(0, 10000)).bytes, 10000 * kMostPerField) << unit;
    }
    const std::string text(std::size_t{16} * 1024 * 1024, '<');
    for (const std::string head : {"<C2><1>", "<C4><1><0><4>", "<C4><1><1>"})
        EXPECT_LE(CostOf("\x02" + head + Line(text)).bytes, text.size() * 6) << head;
    EXPECT_LE(CostOf("\x02<C1>" + text + ">").bytes, text.size() * 6);
    EXPECT_LE(CostOf("\x02<C112><U3>" + text + ";>").bytes, text.size() * 6);
}

// A list that sorts at each identifier, or an element that is compared with all before it, takes minutes
// here.
TEST(ProtocolRecord, TakesNoTimeForLongLists) {
    constexpr int kMany = 250000;
    Pieces ids{"<C49>", "<250000>"};
    for (int i = kMany; i > 0; --i) ids.push_back("<" + std::to_string(i) + ">");
    ids.push_back(kSum);
    ProtocollFields fields;
    Split(fields, Bytes(ids));
    const ProtocolRecord logos = ProtocolRecord::Decode(fields);
    ASSERT_NE(logos.As<LogosIDList>(), nullptr);
    EXPECT_EQ(logos.As<LogosIDList>()->GetIDs().front(), 1U);
    EXPECT_EQ(logos.As<LogosIDList>()->GetIDs().back(), 250000U);

    Pieces list{"<C4>", "<1>", "<0>", "<1>", Line("d"), "<0>", "<0>", "<249999>", "<0>", "<250000>"};
    list.insert(list.end(), kMany, Line("x"));
    list.push_back(kSum);
    Split(fields, Bytes(list));
    const ProtocolRecord item = ProtocolRecord::Decode(fields);
    ASSERT_NE(item.As<SetupItemTypeList>(), nullptr);
    EXPECT_EQ(item.As<SetupItemTypeList>()->listItems.back().uiValue, 249999U);
}

}  // namespace
