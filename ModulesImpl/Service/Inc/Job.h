// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "TCHandler.h"

namespace marrow::ser {

/// One unit of work for a Worker. It is made with `new` and handed to Worker::Do, which takes it
/// over; it deletes itself after it has run. An exception from the work ends the process.
class Job : public Quill::TCHandler {
public:
    explicit Job(std::function<void()> work);
    ~Job() override;

    void SetOwner(Quill::TCEventIO* queue);

    /// Runs the work, on the worker's thread.
    bool t_OnEvent(const Quill::TCEvent* event) override;
    /// The end of the job: deletes it.
    void t_Clear(Quill::TCEvent* event) override;

private:
    std::function<void()> m_work;
};

} // namespace marrow::ser
