// SPDX-License-Identifier: Apache-2.0
#include "WorkerFactory.h"

#include <sstream>

#include "Print.h"

namespace marrow::ser {

namespace {

const std::string THREAD_SUFFIX = "_thread";
const std::string CLEANER_NAME = "WFCleaner";

} // namespace

WorkerFactory& WorkerFactory::Get() {
    static WorkerFactory instance;
    return instance;
}

WorkerFactory::WorkerFactory() : m_cleaner(new Worker(CLEANER_NAME)) {
    m_cleaner->InitWorker(CLEANER_NAME + THREAD_SUFFIX);
}

WorkerFactory::~WorkerFactory() {
    m_cleaner->Destroy();
    delete m_cleaner;
}

std::shared_ptr<Worker> WorkerFactory::GetWorker(std::string name) {
    const base::MutexLock lock(m_mutex);
    Worker* worker = FindWorker(name);
    std::shared_ptr<Worker> first; // keeps a new worker until the result holds it
    if (worker == nullptr) {
        worker = new Worker(name);
        m_workers.push_back(worker);
        worker->InitWorker(name + THREAD_SUFFIX);
        first = std::shared_ptr<Worker>(worker, WorkerDeleter());
    }
    return worker->shared_from_this();
}

Worker* WorkerFactory::FindWorker(std::string name) {
    Worker* found = nullptr;
    for (Worker* worker : m_workers) {
        if (worker->GetName() == name) {
            found = worker;
        }
    }
    return found;
}

void WorkerFactory::DeleteWorker(Worker* worker) {
    {
        const base::MutexLock lock(m_mutex);
        m_workers.remove(worker);
    }
    Job* job = new Job([this, worker] { CleanWorker(worker); });
    m_cleaner->Do(job);
}

void WorkerFactory::CleanWorker(Worker* worker) {
    std::ostringstream line;
    line << "cleaning Worker = [" << static_cast<const void*>(worker) << "]\n";
    base::Print(line.str());
    worker->Destroy();
    delete worker;
}

std::list<std::shared_ptr<Worker>> WorkerFactory::GetWorkersList() {
    return {};
}

void WorkerFactory::WorkerDeleter::operator()(Worker* worker) const {
    std::ostringstream line;
    line << "DeleteWorker[" << static_cast<const void*>(worker) << "][" << worker->GetName()
         << "]\n";
    base::Print(line.str());
    WorkerFactory::Get().DeleteWorker(worker);
}

} // namespace marrow::ser
