// Answers that no printer sends: what they cost. This file counts what is allocated, so it is a program of
// its own.

#include <algorithm>
#include <cstdlib>
#include <new>

#include "protocol/LogosIDList.h"
#include "protocol/ProtocolAnswer.h"
#include "protocol/SetupItemTypeList.h"

namespace {

// Each block is preceded by its size, in room that keeps it aligned.
constexpr std::size_t kHeader = alignof(std::max_align_t);
std::size_t allocated = 0;
std::size_t peak = 0;

void* Allocate(std::size_t size) {
    void* const block = std::malloc(size + kHeader);
    if (block == nullptr) throw std::bad_alloc();
    *static_cast<std::size_t*>(block) = size;
    allocated += size;
    peak = std::max(peak, allocated);
    return static_cast<char*>(block) + kHeader;
}

void Release(void* pointer) {
    if (pointer == nullptr) return;
    void* const block = static_cast<char*>(pointer) - kHeader;
    allocated -= *static_cast<std::size_t*>(block);
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void operator delete(void* pointer) noexcept {
    Release(pointer);
}
void operator delete[](void* pointer) noexcept {
    Release(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    Release(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept {
    Release(pointer);
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

TEST(HostileAnswers, CostWhatTheyHoldNotWhatTheyAnnounce) {
    const struct {
        const char* name;
        std::string head;
        std::string unit;
        std::string tail;
    } cases[] = {
        {"header lines", "<C2>", Line("line"), ""},
        {"setup identifiers", "<C3>", "<7>", "<0>"},
        {"module list", "<C64>", Line("x"), ""},
        {"logo kinds", "<C48>", "<1><2><BMP><Y><M1><6><7X8><9><10>", "<Y>"},
        {"logo identifiers", "<C49>", "<7>", "<0>"},
        {"links", "<C4><1>", "<H><1><2>", "<9>"},
        {"list elements", "<C4><1><0><1>" + Line("d") + "<0><1><1><1>", Line("x"), "<0>"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        constexpr std::size_t kUnits = 1000;
        const std::string body = Repeated(row.unit, kUnits) + row.tail;
        const Cost honest = CostOf("\x02" + row.head + "<1000>" + body);
        for (const char* count : {"<1000000>", "<2147483647>", "<4294967295>", "<99999999999999999999>"}) {
            const Cost lying = CostOf("\x02" + row.head + count + body);
            EXPECT_FALSE(lying.record) << count;
            EXPECT_LE(lying.bytes, honest.bytes + honest.bytes / 8 + 1024) << count;
        }
    }
    const Cost font = CostOf("\x02<C96><2147483647>" + DataBytes("1234") + "<0>");
    EXPECT_FALSE(font.record);
    EXPECT_LE(font.bytes, 8192U);
}

TEST(HostileAnswers, FloodsOfSmallFieldsAreBounded) {
    constexpr std::size_t kFlood = std::size_t{4} * 1024 * 1024;
    constexpr std::size_t kMostPerField = 256;
    for (const char* unit : {"\x02", "\x06", "<>", "<1>", "<C1>", "<H,D>"}) {
        SCOPED_TRACE(unit);
        const std::string flood = "\x02<C3>" + Repeated(unit, kFlood / std::string(unit).size());
        EXPECT_LE(CostOf(flood).bytes, ProtocollFields::kMaxFields * kMostPerField);
        const Cost few = CostOf(flood.substr(0, 10000));
        EXPECT_LE(few.bytes, 10000 * kMostPerField);
    }
    ProtocollFields fields;
    EXPECT_EQ(Split(fields, std::string(kFlood, '\x02')), static_cast<int>(ProtocollFields::kMaxFields));
}

TEST(HostileAnswers, LongTextsCostASmallMultiple) {
    const std::string text(std::size_t{16} * 1024 * 1024, '<');
    for (const char* head : {"<C2><1>", "<C4><1><0><4>", "<C4><1><1>"})
        EXPECT_LE(CostOf("\x02" + std::string(head) + Line(text)).bytes, text.size() * 6) << head;
    EXPECT_LE(CostOf("\x02<C1>" + text + ">").bytes, text.size() * 6);
    EXPECT_LE(CostOf("\x02<C112><U3>" + text + ";>").bytes, text.size() * 6);
}

// A list that sorts at each identifier, or an element that is compared with all before it, takes minutes
// here.
TEST(HostileAnswers, LongListsTakeNoTime) {
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
