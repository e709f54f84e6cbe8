#include "Tarno/TaskRunner.hpp"

namespace tarno {

void TaskRunner::Task::onOwnerThread(std::function<void()> step) const
{
    QMetaObject::invokeMethod(
        m_runner,
        [cancelled = m_cancelled, step = std::move(step)] {
            if (!cancelled->load())
                step();
        },
        Qt::QueuedConnection);
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

void TaskRunner::waitForDone()
{
    m_pool.waitForDone();
}

} // namespace tarno
