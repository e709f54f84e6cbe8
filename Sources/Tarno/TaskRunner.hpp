#pragma once

#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarno {

// Runs slow work off the main thread and hands each result back on the
// owner's thread, always through the event loop (never inside the call that
// started the work). Owned by one model; its pool is its own, so a model's
// widths hold whatever the number of cores.
//
// cancel() asks the work under way to stop (its isCancelled turns true) and
// drops every result and progress report not yet delivered. The destructor
// cancels and waits, so a model that goes away never receives anything and
// never leaves work behind it.
class TaskRunner : public QObject {
    Q_OBJECT

public:
    using IsCancelled = std::function<bool()>;

    // What a piece of work gets: its cancellation, and a way to run a small
    // step on the owner's thread (a progress report), dropped after a cancel.
    class Task {
    public:
        bool isCancelled() const { return m_cancelled->load(); }
        IsCancelled cancellation() const
        {
            return [cancelled = m_cancelled] { return cancelled->load(); };
        }
        void onOwnerThread(std::function<void()> step) const;

    private:
        friend class TaskRunner;
        Task(TaskRunner* runner, std::shared_ptr<std::atomic<bool>> cancelled)
            : m_runner(runner), m_cancelled(std::move(cancelled)) {}
        TaskRunner* m_runner; // outlives the task: the destructor waits for its work
        std::shared_ptr<std::atomic<bool>> m_cancelled;
    };

    explicit TaskRunner(int width, QObject* parent = nullptr);
    ~TaskRunner() override;

    // Runs work(task) on the pool, then handler(result) on this object's
    // thread. A void work takes a handler without arguments.
    template <typename Work, typename Handler>
    void run(Work work, Handler handler);

    // Runs work(i, task) for i in [0, count), at most `width` at a time, in
    // order of starting; each(i, result) as each ends, then done() once all
    // have. Nothing of it is delivered after a cancel. The work gives a value.
    template <typename Work, typename Each, typename Done>
    void runAtMost(int width, std::size_t count, Work work, Each each, Done done);

    // Asks the work under way to stop and forgets what it would deliver.
    void cancel();
    // Blocks until no work runs.
    void waitForDone();

private:
    // A result or progress report waiting for the owner's thread. They go
    // through a queue of our own rather than a functor posted from the
    // worker, so that the hand-over sits in a lock the thread sanitizer sees.
    struct Step {
        std::shared_ptr<std::atomic<bool>> cancelled;
        std::function<void()> body;
    };
    void post(Step step);
    Q_INVOKABLE void runPostedSteps();

    // Starts body on the pool. The hand-over is marked for the thread
    // sanitizer: the pool's own locking is in Qt's library, where it cannot
    // see it.
    void start(std::function<void()> body);

    std::shared_ptr<std::atomic<bool>> m_cancelled = std::make_shared<std::atomic<bool>>(false);
    std::mutex m_postedLock;
    std::vector<Step> m_posted;
    QThreadPool m_pool;
};

template <typename Work, typename Handler>
void TaskRunner::run(Work work, Handler handler)
{
    const Task task(this, m_cancelled);
    start([work = std::move(work), handler = std::move(handler), task]() mutable {
        if constexpr (std::is_void_v<std::invoke_result_t<Work, const Task&>>) {
            work(task);
            task.onOwnerThread(std::move(handler));
        } else {
            task.onOwnerThread([handler = std::move(handler), result = work(task)]() mutable {
                handler(std::move(result));
            });
        }
    });
}

template <typename Work, typename Each, typename Done>
void TaskRunner::runAtMost(int width, std::size_t count, Work work, Each each, Done done)
{
    struct Queue {
        std::size_t next = 0;
        int inFlight = 0;
        std::size_t count = 0;
        int width = 0;
        Work work;
        Each each;
        Done done;
        std::function<void()> startMore;
    };
    if (count == 0) {
        QMetaObject::invokeMethod(this, [cancelled = m_cancelled, done = std::move(done)]() mutable {
            if (!cancelled->load())
                done();
        }, Qt::QueuedConnection);
        return;
    }
    auto queue = std::make_shared<Queue>(Queue{0, 0, count, width, std::move(work), std::move(each), std::move(done), {}});
    std::weak_ptr<Queue> weak = queue;
    // The queue lives as long as one of its pieces of work is under way.
    queue->startMore = [this, weak] {
        const std::shared_ptr<Queue> self = weak.lock();
        while (self->inFlight < self->width && self->next < self->count) {
            const std::size_t index = self->next++;
            ++self->inFlight;
            run([self, index](const Task& task) { return self->work(index, task); },
                [self, index](auto result) {
                    --self->inFlight;
                    self->each(index, std::move(result));
                    self->startMore();
                });
        }
        if (self->inFlight == 0 && self->next == self->count) {
            self->done();
            self->startMore = nullptr; // breaks the cycle through the captured queue
        }
    };
    queue->startMore();
}

} // namespace tarno
