#include "package/PSWComponents.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace {

constexpr PSWCOMPONENTS kPlace = PSWComponent::kModule | PSWComponent::kAfter;

bool IsBegin(PSWCOMPONENTS value) {
    return (value & kPlace) == PSWComponent::kModule;
}
bool IsAfter(PSWCOMPONENTS value) {
    return (value & kPlace) == kPlace;
}

}  // namespace

void PSWComponents::Add(PSWCOMPONENTS value) {
    values_.push_back(value);
}

void PSWComponents::ResetList() {
    values_.clear();
}

int PSWComponents::Size() const {
    return static_cast<int>(values_.size());
}

PSWCOMPONENTS PSWComponents::Get(int index) const {
    if (index >= Size() || values_.empty()) return 0;
    return values_[static_cast<std::size_t>(std::max(index, 0))];
}

bool PSWComponents::IsModule(int index) const {
    return (Get(index) & PSWComponent::kModule) != 0;
}

bool PSWComponents::IsModuleBefore(int index) const {
    return !IsModuleAfter(index);
}

bool PSWComponents::IsModuleAfter(int index) const {
    return (Get(index) & PSWComponent::kAfter) != 0;
}

bool PSWComponents::HasComponent(PSWCOMPONENTS value) const {
    return std::find(values_.begin(), values_.end(), value) != values_.end();
}

int PSWComponents::GetComponentIndex(PSWCOMPONENTS value) const {
    const auto found = std::find(values_.begin(), values_.end(), value);
    return found == values_.end() ? 0 : static_cast<int>(found - values_.begin());
}

bool PSWComponents::HasModuleToChoose() const {
    for (int i = 0; i < Size(); ++i) {
        if (IsModule(i + 1)) return true;  // kept: the entry at index 0 is never looked at
    }
    return false;
}

bool PSWComponents::HasBeginModules() const {
    return std::any_of(values_.begin(), values_.end(), IsBegin);
}

bool PSWComponents::HasAfterModules() const {
    return std::any_of(values_.begin(), values_.end(), IsAfter);
}

void PSWComponents::ConvertModulesBeforeToAfter() {
    for (PSWCOMPONENTS& value : values_) {
        if (IsBegin(value)) value |= PSWComponent::kAfter;
    }
}

void PSWComponents::ConvertModulesAfterToBefore() {
    for (PSWCOMPONENTS& value : values_) {
        if (IsAfter(value)) value &= ~PSWComponent::kAfter;
    }
}

void PSWComponents::DumpWholeList() const {
    std::printf("PSWComponents list Len %d \n", Size());
    for (int i = 0; i < Size(); ++i) std::printf("[%d] : 0x%x \n", i, Get(i));
}
