#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "protocol/ProtocollFieldInfo.h"

class FieldWalk;

/// One field that a decoder expects, or a group of steps that repeats. Decoders are lists of these, made with
/// the functions of namespace Expect and walked by FieldWalk::Run; what is stored and logged goes with the
/// field.
struct FieldStep {
    using Take = std::function<bool(const ProtocollFieldInfo&, FieldWalk&)>;

    /// What the step accepts: field types, and what is asked of the field beside its type.
    enum Accept : unsigned {
        kStx = 1U << 0U,
        kCommand = 1U << 1U,
        kInt = 1U << 2U,
        kString = 1U << 3U,
        kText = 1U << 4U,
        kEmpty = 1U << 5U,
        kData = 1U << 6U,
        kAnyType = (1U << 7U) - 1,
        kFilled = 1U << 8U,  ///< its text holds at least one character
    };

    unsigned accepts = 0;
    const char* wrongType = nullptr;  ///< logged when the field is missing or not accepted
    Take take;                        ///< may be empty; false (after logging why) ends the walk
    std::vector<FieldStep> group;     ///< not empty: these are walked `*times` times, and there is no field
    const int* times = nullptr;
    std::function<void(FieldWalk&)> note;  ///< set: no field, only this is done
};

/// The way through an answer's fields: which one is next, and the answer sum of those behind.
class FieldWalk {
 public:
    /// Starts at field `index` with the answer sum `sum`. Log lines carry `tag`.
    FieldWalk(const ProtocollFieldList& fields, const char* tag, int index = 0, std::uint64_t sum = 0);

    /// Takes one field for each step. False at the first that is missing, not accepted or refused by its
    /// step; the reason is then in the log.
    bool Run(const std::vector<FieldStep>& steps);

    /// Goes on at field `index` with the answer sum `sum`, where another walk ended.
    void GoOn(int index, std::uint64_t sum);

    /// True until a Run failed.
    bool Ok() const { return bOk; }
    int Index() const { return static_cast<int>(uiIndex); }
    /// Byte sum of the fields taken since the answer's STX.
    std::uint64_t Sum() const { return uiSum; }
    const char* Tag() const { return strTag; }

    /// Logs the reason and gives false.
    bool Fail(const char* reason) const;

 private:
    bool RunStep(const FieldStep& step);
    bool TakeField(const FieldStep& step);

    const ProtocollFieldList& listFields;
    const char* strTag;
    std::size_t uiIndex = 0;
    std::uint64_t uiSum = 0;
    bool bOk = true;
};

/// The steps that decoders are written with. References given to them are read and written while the walk
/// runs. Labels are logged with the value behind them.
namespace Expect {

using Take = FieldStep::Take;

FieldStep Stx();
FieldStep Command(Take take = {});

/// A whole number, as ParseInt converts it.
FieldStep Int(Take take = {});
FieldStep Int(const char* label, std::int32_t& value);
/// The same without sign, for identifiers and bit sets.
FieldStep Unsigned(const char* label, std::uint64_t& value);
/// 0 when the field is 0, 1 otherwise.
FieldStep Flag(std::int32_t& flag);

FieldStep String(Take take = {});
FieldStep Text(Take take = {});
FieldStep Data(Take take = {});

/// A field of any of the `accepts` with a message of its own.
FieldStep Field(unsigned accepts, const char* wrongType, Take take);

/// An integer that is the answer sum of all fields before it, modulo 256 ("Checksum Error").
FieldStep Sum();

/// `steps`, `times` times over, not at all when it is negative. It must outlive the walk.
FieldStep Repeat(const std::int32_t& times, std::vector<FieldStep> steps);

/// No field: something to do or to log at this point.
FieldStep Note(std::function<void(FieldWalk&)> note);

}  // namespace Expect
