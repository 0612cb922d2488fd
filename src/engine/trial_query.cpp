#include "engine/trial_query.h"

#include <QElapsedTimer>
#include <new>

namespace quillmark::engine {
namespace {

constexpr int kRestBeforeExact = 80;  // ms without a new question
constexpr int kCheap = 30;            // ms: exact answers below need no rough one before them

}  // namespace

TrialQuery::TrialQuery(TrialSubject subject, QObject* parent) : QObject{parent}, trial_{std::move(subject)} {
    quick_.setMaxThreadCount(1);
    exact_.setMaxThreadCount(1);
    refine_.setSingleShot(true);
    refine_.setInterval(kRestBeforeExact);
    connect(&refine_, &QTimer::timeout, this, [this] { start(exact_, &TrialQuery::answer_exactly); });
}

TrialQuery::~TrialQuery() {
    ++newest_;
    quick_.clear();
    exact_.clear();
    quick_.waitForDone();
    exact_.waitForDone();
}

void TrialQuery::ask(const std::vector<int>& arguments, const TrialView& view) {
    refine_.stop();
    quick_.clear();
    exact_.clear();
    question_ = {++newest_, arguments, view, shown_before_ != view};
    start(quick_, &TrialQuery::answer_quickly);
}

// Where memory runs out there is no answer: the pane keeps what it shows.
void TrialQuery::start(QThreadPool& pool, void (TrialQuery::*answer)(const Question&)) {
    pool.start([this, answer, question = question_] {
        try {
            (this->*answer)(question);
        } catch (const std::bad_alloc&) {
        }
    });
}

void TrialQuery::tell(const Question& question, TrialAnswer answer) {
    answer.view = question.view;
    // The threads are drained before this object goes, so it is still there to post to.
    QMetaObject::invokeMethod(
        this,
        [this, ticket = question.ticket, answer = std::move(answer)] {
            if (!stale(ticket)) receive(answer);
        },
        Qt::QueuedConnection);
}

void TrialQuery::receive(const TrialAnswer& answer) {
    if (answer.before) shown_before_ = answer.view;
    if (answer.after && !answer.after->complete) refine_.start();
    emit answered(answer);
}

void TrialQuery::answer_quickly(const Question& question) {
    if (stale(question.ticket)) return;
    if (question.with_before) tell(question, {{}, trial_.before(question.view), {}});
    auto outcome = exact_at_once(question);
    if (!outcome)
        outcome = trial_.quick(question.arguments, question.view, [&] { return stale(question.ticket); });
    if (outcome) tell(question, {{}, {}, std::move(outcome)});
}

// The exact answer instead of a rough one where it has been quick so far, so that the picture does not waver.
std::optional<TrialOutcome> TrialQuery::exact_at_once(const Question& question) {
    if (!trial_.acts_on_pixels() || exact_cost_ > kCheap || exact_reach_ != trial_.reach(question.arguments))
        return std::nullopt;
    QElapsedTimer clock;
    clock.start();
    auto outcome = trial_.exact(question.arguments, question.view,
                                [&] { return stale(question.ticket) || clock.elapsed() > kCheap; });
    if (!outcome) exact_cost_ = INT_MAX;
    return outcome;
}

void TrialQuery::answer_exactly(const Question& question) {
    QElapsedTimer clock;
    clock.start();
    auto outcome = trial_.exact(question.arguments, question.view, [&] { return stale(question.ticket); });
    if (!outcome) return;
    exact_reach_ = trial_.reach(question.arguments);
    exact_cost_ = static_cast<int>(clock.elapsed());
    tell(question, {{}, {}, std::move(outcome)});
}

}  // namespace quillmark::engine
