// Trials on other threads: the newest question wins, a rough answer comes at once and the exact one after it.
#pragma once

#include <QObject>
#include <QThreadPool>
#include <QTimer>
#include <atomic>
#include <cstdint>
#include <memory>

#include "engine/trial.h"

namespace quillmark::engine {

struct TrialAnswer {
    TrialView view;
    std::optional<TrialPicture> before;  ///< when the view is another than that of the answer before
    std::optional<TrialOutcome> after;
};

class TrialQuery : public QObject {
    Q_OBJECT

  public:
    TrialQuery(TrialSubject subject, QObject* parent);
    /// Stops the work under way and waits for it.
    ~TrialQuery() override;

    /// Asks what a view shows before and after. Earlier questions are dropped: their work is stopped and
    /// nothing of them is answered any more.
    void ask(const std::vector<int>& arguments, const TrialView& view);

  signals:
    void answered(const quillmark::engine::TrialAnswer& answer);

  private:
    struct Question {
        std::uint64_t ticket = 0;
        std::vector<int> arguments;
        TrialView view;
        bool with_before = false;
    };
    bool stale(std::uint64_t ticket) const { return newest_.load(std::memory_order_relaxed) != ticket; }
    void start(QThreadPool& pool, void (TrialQuery::*answer)(const Question&));
    void tell(const Question& question, TrialAnswer answer);
    void receive(const TrialAnswer& answer);
    void answer_quickly(const Question& question);
    void answer_exactly(const Question& question);
    std::optional<TrialOutcome> exact_at_once(const Question& question);

    Trial trial_;
    std::atomic<std::uint64_t> newest_{0};
    std::atomic<int> exact_cost_{INT_MAX};  // milliseconds that the last exact answer took
    std::atomic<int> exact_reach_{0};       // of the operation then
    Question question_;
    std::optional<TrialView> shown_before_;
    QTimer refine_;
    // The exact answer has a thread of its own: while it stops it must not keep the next question waiting.
    QThreadPool quick_, exact_;
};

}  // namespace quillmark::engine
