#include "protocol/FieldWalk.h"

#include <algorithm>
#include <utility>

#include "support/Log.h"

namespace {

constexpr const char* kIntError = "FTYPE_VINT_VALUE Error";

unsigned AcceptOf(FTYPE type) {
    switch (type) {
        case FTYPE_STX:
            return FieldStep::kStx;
        case FTYPE_VCMDID_VALUE:
            return FieldStep::kCommand;
        case FTYPE_VINT_VALUE:
            return FieldStep::kInt;
        case FTYPE_VSTRING_VALUE:
            return FieldStep::kString;
        case FTYPE_STRING_VALUE:
            return FieldStep::kText;
        case FTYPE_EMPTY:
            return FieldStep::kEmpty;
        case FTYPE_VDATABYTES:
            return FieldStep::kData;
        default:
            return 0;
    }
}

bool Accepts(unsigned accepts, const ProtocollFieldInfo& field) {
    const bool anyType = (accepts & FieldStep::kAnyType) == FieldStep::kAnyType;
    if (!anyType && (accepts & AcceptOf(field.iType)) == 0) return false;
    return (accepts & FieldStep::kFilled) == 0 || !field.strText.empty();
}

}  // namespace

FieldWalk::FieldWalk(const ProtocollFieldList& fields, const char* tag, int index, std::uint64_t sum)
    : listFields(fields), strTag(tag) {
    GoOn(index, sum);
}

void FieldWalk::GoOn(int index, std::uint64_t sum) {
    uiIndex = index < 0 ? listFields.size() : static_cast<std::size_t>(index);
    uiSum = sum;
}

bool FieldWalk::Run(const std::vector<FieldStep>& steps) {
    bOk = bOk &&
          std::all_of(steps.begin(), steps.end(), [this](const FieldStep& step) { return RunStep(step); });
    return bOk;
}

bool FieldWalk::RunStep(const FieldStep& step) {
    if (step.note) {
        step.note(*this);
        return true;
    }
    if (step.times == nullptr) return TakeField(step);
    for (int i = 0; i < *step.times; ++i)
        if (!Run(step.group)) return false;
    return true;
}

bool FieldWalk::TakeField(const FieldStep& step) {
    if (uiIndex >= listFields.size() || !Accepts(step.accepts, *listFields[uiIndex]))
        return Fail(step.wrongType);
    const ProtocollFieldInfo& field = *listFields[uiIndex];
    if (step.take && !step.take(field, *this)) return false;
    // The answer sum begins with the tag, behind the STX.
    if (uiIndex > 0) uiSum += field.uiSum;
    ++uiIndex;
    return true;
}

bool FieldWalk::Fail(const char* reason) const {
    Log::WriteLog(strTag, reason);
    return false;
}

namespace Expect {

FieldStep Field(unsigned accepts, const char* wrongType, Take take) {
    FieldStep step;
    step.accepts = accepts;
    step.wrongType = wrongType;
    step.take = std::move(take);
    return step;
}

FieldStep Stx() {
    return Field(FieldStep::kStx, "FTYPE_STX Error", {});
}

FieldStep Command(Take take) {
    return Field(FieldStep::kCommand, "FTYPE_VCMDID_VALUE Error", std::move(take));
}

FieldStep Int(Take take) {
    return Field(FieldStep::kInt, kIntError, std::move(take));
}

FieldStep Int(const char* label, std::int32_t& value) {
    return Int([label, &value](const ProtocollFieldInfo& field, const FieldWalk& walk) {
        value = field.iValue;
        Log::WriteLogP(walk.Tag(), "%s%d", label, value);
        return true;
    });
}

FieldStep Unsigned(const char* label, std::uint64_t& value) {
    return Int([label, &value](const ProtocollFieldInfo& field, const FieldWalk& walk) {
        const auto number = static_cast<std::uint32_t>(field.iValue);
        value = number;
        Log::WriteLogP(walk.Tag(), "%s%u", label, number);
        return true;
    });
}

FieldStep Flag(std::int32_t& flag) {
    return Int([&flag](const ProtocollFieldInfo& field, const FieldWalk&) {
        flag = field.iValue != 0 ? 1 : 0;
        return true;
    });
}

FieldStep String(Take take) {
    return Field(FieldStep::kString, "FTYPE_VSTRING_VALUE Error", std::move(take));
}

FieldStep Text(Take take) {
    return Field(FieldStep::kText, "FTYPE_STRING_VALUE Error", std::move(take));
}

FieldStep Data(Take take) {
    return Field(FieldStep::kData, "FTYPE_VDATABYTES Error", std::move(take));
}

FieldStep Sum() {
    return Int([](const ProtocollFieldInfo& field, const FieldWalk& walk) {
        const bool equal = field.iValue == static_cast<std::int32_t>(walk.Sum() & 0xFFU);
        return equal || walk.Fail("Checksum Error");
    });
}

FieldStep Repeat(const std::int32_t& times, std::vector<FieldStep> steps) {
    FieldStep step;
    step.times = &times;
    step.group = std::move(steps);
    return step;
}

FieldStep Note(std::function<void(FieldWalk&)> note) {
    FieldStep step;
    step.note = std::move(note);
    return step;
}

}  // namespace Expect
