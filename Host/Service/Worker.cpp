#include "Service/Worker.h"

#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Threading::Thread;

Worker::Worker(String name) : thread(std::move(name), Thread::Entry::Bind<&Worker::Run>(this))
{
    if (!thread.Start())
    {
        throw Exception("Failed to start the thread '" + thread.GetName() + "'.");
    }
}

Worker::~Worker()
{
    Stop();
}

void Worker::Post(Task task)
{
    {
        const std::lock_guard lock(mutex);
        if (stopped)
        {
            return;
        }
        tasks.push_back(std::move(task));
    }
    changed.notify_one();
}

void Worker::Stop()
{
    std::deque<Task> dropped;
    {
        const std::lock_guard lock(mutex);
        stopped = true;
        dropped.swap(tasks);
    }
    changed.notify_one();
    thread.Join();
}

void Worker::Run(void* /*argument*/)
{
    while (const Task task = Take())
    {
        progressTime = std::chrono::steady_clock::now();
        EventLoop::Guard(task);
        progressTime = std::chrono::steady_clock::time_point();
    }
}

void Worker::NoteProgress()
{
    // Not where the task has ended meanwhile.
    auto since = progressTime.load();
    if (since != std::chrono::steady_clock::time_point())
    {
        progressTime.compare_exchange_strong(since, std::chrono::steady_clock::now());
    }
}

std::chrono::milliseconds Worker::GetTaskTime() const
{
    const auto since = progressTime.load();
    return since == std::chrono::steady_clock::time_point()
               ? std::chrono::milliseconds(0)
               : std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                       since);
}

Worker::Task Worker::Take()
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return stopped || !tasks.empty(); });
    if (stopped)
    {
        return {};
    }
    Task task = std::move(tasks.front());
    tasks.pop_front();
    return task;
}

} // namespace Zel::Host::Service
