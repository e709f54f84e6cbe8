#include "Tarno/TaskRunner.hpp"

#include <QRunnable>

#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

namespace tarno {

namespace {

// What the pool runs: the body, after taking over what the starting thread
// wrote before it let the job go.
class Job final : public QRunnable {
public:
    explicit Job(std::function<void()> body) : m_body(std::move(body)) {}

    void handOver()
    {
#if defined(__SANITIZE_THREAD__)
        __tsan_release(this);
#endif
    }

    void run() override
    {
#if defined(__SANITIZE_THREAD__)
        __tsan_acquire(this);
#endif
        m_body();
    }

private:
    std::function<void()> m_body;
};

} // namespace

void TaskRunner::Task::onOwnerThread(std::function<void()> step) const
{
    m_runner->post(Step{m_cancelled, std::move(step)});
}

void TaskRunner::post(Step step)
{
    {
        const std::lock_guard lock(m_postedLock);
        m_posted.push_back(std::move(step));
    }
    QMetaObject::invokeMethod(this, "runPostedSteps", Qt::QueuedConnection);
}

void TaskRunner::runPostedSteps()
{
    std::vector<Step> steps;
    {
        const std::lock_guard lock(m_postedLock);
        steps.swap(m_posted);
    }
    for (const Step& step : steps) {
        if (!step.cancelled->load())
            step.body();
    }
}

TaskRunner::TaskRunner(int width, QObject* parent)
    : QObject(parent)
{
    m_pool.setMaxThreadCount(width);
}

TaskRunner::~TaskRunner()
{
    cancel();
    waitForDone();
}

void TaskRunner::cancel()
{
    m_cancelled->store(true);
    m_cancelled = std::make_shared<std::atomic<bool>>(false);
    m_pool.clear(); // work that has not started never will
}

void TaskRunner::start(std::function<void()> body)
{
    auto* job = new Job(std::move(body));
    job->handOver();
    m_pool.start(job);
}

void TaskRunner::waitForDone()
{
    m_pool.waitForDone();
}

} // namespace tarno
