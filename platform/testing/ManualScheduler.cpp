#include "platform/testing/ManualScheduler.h"

#include <algorithm>

namespace platform::testing {

class ManualScheduler::Main final : public MainQueue {
  public:
    explicit Main(ManualScheduler& owner)
        : owner_(owner) {}
    void post(Task task) override { owner_.schedule({}, true, std::move(task)); }
    void postAfter(std::chrono::nanoseconds delay, Task task) override {
        owner_.schedule(delay, true, std::move(task));
    }
    [[nodiscard]] bool isMainThread() const override { return owner_.onMainThread_; }

  private:
    ManualScheduler& owner_;
};

class ManualScheduler::Background final : public BackgroundQueues {
  public:
    explicit Background(ManualScheduler& owner)
        : queue_(owner) {}
    [[nodiscard]] Queue& global(QualityOfService /*qos*/) override { return queue_; }
    [[nodiscard]] std::unique_ptr<Queue> makeSerial(const std::string& /*label*/,
                                                    QualityOfService /*qos*/) override {
        return std::make_unique<OffMain>(queue_);
    }

  private:
    class OffMain final : public Queue {
      public:
        explicit OffMain(ManualScheduler& owner)
            : owner_(owner) {}
        void post(Task task) override { owner_.schedule({}, false, std::move(task)); }
        void postAfter(std::chrono::nanoseconds delay, Task task) override {
            owner_.schedule(delay, false, std::move(task));
        }

      private:
        ManualScheduler& owner_;
    };
    OffMain queue_;
};

WallTime ManualScheduler::ManualClock::wallNow() const {
    return WallTime{} + std::chrono::duration_cast<WallTime::duration>(std::chrono::years(50) +
                                                                       now_.time_since_epoch());
}

ManualScheduler::ManualScheduler()
    : main_(std::make_unique<Main>(*this))
    , background_(std::make_unique<Background>(*this)) {}

ManualScheduler::~ManualScheduler() = default;

void ManualScheduler::schedule(std::chrono::nanoseconds delay, bool onMain, Task task) {
    const auto longest = SteadyTime::max() - clock_.now_;
    const SteadyTime due = clock_.now_ + std::clamp(delay, std::chrono::nanoseconds{0}, longest);
    tasks_.emplace(std::pair{due, ++posted_}, Entry{onMain, std::move(task)});
}

void ManualScheduler::advance(std::chrono::nanoseconds duration) {
    const SteadyTime end = clock_.now_ + duration;
    const bool wasOnMain = onMainThread_;
    while (!tasks_.empty() && tasks_.begin()->first.first <= end) {
        auto node = tasks_.extract(tasks_.begin());
        clock_.now_ = std::max(clock_.now_, node.key().first);
        onMainThread_ = node.mapped().onMain;
        node.mapped().task();
    }
    onMainThread_ = wasOnMain;
    clock_.now_ = std::max(clock_.now_, end);
}

} // namespace platform::testing
