#include "simulator/AnswerQueue.h"

#include <algorithm>
#include <utility>

namespace simulator {

void AnswerQueue::Add(Bytes portion, std::uint64_t due, bool isResult) {
    Pending pending;
    pending.due = due;
    pending.portions.push_back(std::move(portion));
    pending.isResult = isResult;
    Insert(std::move(pending));
}

void AnswerQueue::AddEndless(const std::vector<Bytes>& portions, std::uint64_t due, std::uint64_t gapMs,
                             bool isResult) {
    if (portions.empty()) return;
    Pending pending;
    pending.due = due;
    pending.portions = portions;
    pending.gapMs = std::max<std::uint64_t>(gapMs, 1);
    pending.endless = true;
    pending.isResult = isResult;
    Insert(std::move(pending));
}

std::vector<Bytes> AnswerQueue::Take(std::uint64_t now) {
    std::vector<Pending> due;
    while (!pending_.empty() && pending_.front().due <= now) {
        due.push_back(std::move(pending_.front()));
        pending_.erase(pending_.begin());
    }
    std::vector<Bytes> taken;
    for (Pending& answer : due) {
        taken.push_back(answer.portions[answer.next]);
        if (!answer.endless) continue;
        answer.next = (answer.next + 1) % answer.portions.size();
        answer.due = now + answer.gapMs;
        Insert(std::move(answer));
    }
    return taken;
}

std::uint64_t AnswerQueue::NextDue() const {
    return pending_.empty() ? DeviceModel::kNever : pending_.front().due;
}

void AnswerQueue::DropInquiries() {
    pending_.erase(std::remove_if(pending_.begin(), pending_.end(),
                                  [](const Pending& answer) { return !answer.isResult; }),
                   pending_.end());
}

void AnswerQueue::Insert(Pending pending) {
    const auto later =
        std::upper_bound(pending_.begin(), pending_.end(), pending.due,
                         [](std::uint64_t due, const Pending& other) { return due < other.due; });
    pending_.insert(later, std::move(pending));
}

}  // namespace simulator
