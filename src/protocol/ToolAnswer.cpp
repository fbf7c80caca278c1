#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "protocol/FieldWalk.h"
#include "protocol/ProtocollFields.h"
#include "support/Log.h"
#include "support/Owned.h"

namespace {

/// The field that says what kind of data follows, or that there is none.
bool CheckDataType(const ProtocollFieldInfo& field, const FieldWalk& walk) {
    if (field.iType == FTYPE_ACK) return walk.Fail("FTYPE_ACK OK (No other data)");
    if (field.iType == FTYPE_NACK) return walk.Fail("FTYPE_NACK OK (No other data)");
    if (field.strText.find("SB") != std::string::npos) return true;
    Log::WriteLogP(walk.Tag(), "Data Type %s Unsupported", field.strText.c_str());
    return false;
}

using OwnedText = Owned<char, FreeMemory>;
using OwnedTexts = Owned<char*, FreeMemory>;

}  // namespace

char** ProtocollFields::CreateToolAnswer(int* /*lines*/) {
    FieldWalk walk(listFields, "CreateToolAnswer");
    Log::WriteLog(walk.Tag(), "Begin");
    std::vector<OwnedText> texts;
    std::int32_t count = 0;
    const auto line = [&texts](const ProtocollFieldInfo& field, const FieldWalk& at) {
        texts.emplace_back(strdup(field.strText.c_str()));
        if (texts.back() == nullptr) return false;
        Log::WriteLogP(at.Tag(), "%02zu - %s", texts.size(), field.strText.c_str());
        return true;
    };
    const bool complete = walk.Run({
        Expect::Stx(),
        Expect::Command(),
        Expect::Field(FieldStep::kAnyType, "Data Type  Unsupported", CheckDataType),
        Expect::Int("Number of Answer Lines : ", count),
        Expect::Repeat(count, {Expect::Text(line)}),
        Expect::Sum(),
    });
    if (!complete) return nullptr;
    OwnedTexts answer(static_cast<char**>(std::calloc(texts.size() + 1, sizeof(char*))));
    if (answer == nullptr) return nullptr;
    std::transform(texts.begin(), texts.end(), answer.get(), [](auto& text) { return text.release(); });
    Log::WriteLog(walk.Tag(), "End");
    return answer.release();
}

void ProtocollFields::DeleteToolAnswer(char** answer) {
    if (answer == nullptr) return;
    for (char** text = answer; *text != nullptr; ++text) std::free(*text);
    std::free(answer);
}
