// SPDX-License-Identifier: Apache-2.0

// Compiled by the layout tests alone, for what clang prints about it. It prints the virtual table
// of a class where a virtual operation of that class is called, and the fields where one is needed
// whole.

#include "CommandManager.h"
#include "ConfigAccessor.h"
#include "DbusIPC.h"
#include "IConfig.h"
#include "IDataSubscriber.h"
#include "IPESDataSubscriber.h"
#include "IProgramSubscriber.h"
#include "ISectionSubscriber.h"
#include "IServiceControl.h"
#include "ISignalSubscriber.h"
#include "Job.h"
#include "KeyEventProxy.h"
#include "MessageRouter.h"
#include "Messenger.h"
#include "ModuleClass.h"
#include "NullServiceProxy.h"
#include "PerformanceMonitor.h"
#include "PrintRecordHandler.h"
#include "Service.h"
#include "ServiceCommand.h"
#include "ServiceContext.h"
#include "ServiceControl.h"
#include "ServiceFactory.h"
#include "ServiceLoader.h"
#include "ServiceManager.h"
#include "ServiceProxy.h"
#include "StreamIPC.h"
#include "TCEvent.h"
#include "TCServer.h"
#include "TCTask.h"
#include "TSCaption.h"
#include "TSPESData.h"
#include "TVSCaptionEventProxy.h"
#include "TVSEventProxy.h"
#include "TVSPESEventProxy.h"
#include "TVSProgramEventProxy.h"
#include "TVSSectionEventProxy.h"
#include "VConfEventProxy.h"
#include "WorkerFactory.h"

namespace layouts {

class Thing : public IModule {
public:
    void Init() override;
};

// Deleting through a base is a call of its virtual destructor.
template <typename... T>
void Delete(T*... objects) {
    (delete objects, ...);
}

void VirtualTables(IModule* module, IConfig* config, const IModuleClass& moduleClass,
                   const ModuleClass<Thing>& thingClass, marrow::msg::DoubleModuleClass* router) {
    Delete(module, config, router);
    (void)moduleClass.GetName();
    (void)thingClass.GetName();
}

void VirtualTables(RecordHandler* handler, Quill::TCHandler* receiver, Quill::TCEventIO* queue,
                   Quill::TCTask* task, Quill::TCServer* server, Quill::TCEvent* event,
                   marrow::ser::Job* job, marrow::ser::Worker* worker) {
    Delete(handler, receiver, queue, task, server, event, job, worker);
}

void VirtualTables(marrow::ser::IService* service, marrow::ser::Service* base,
                   marrow::ser::IServiceProxy* proxy, marrow::ser::ServiceProxy* baseProxy,
                   marrow::ser::NullServiceProxy* nullProxy, IServiceLoader* loader,
                   marrow::ser::IServiceFactory* factory, ServiceFactory* theFactory) {
    Delete(service, base, proxy, baseProxy, nullProxy, loader, factory, theFactory);
}

void VirtualTables(marrow::mgr::IServiceManager* manager, marrow::mgr::IServiceControl* control,
                   marrow::msg::IMessageRouter* router, marrow::msg::IMessageHandler* handler,
                   marrow::msg::MessageRouter* theRouter) {
    Delete(manager, control, router, handler, theRouter);
}

void VirtualTables(marrow::dbg::ICommand* command, marrow::dbg::ServiceCommand* serviceCommand,
                   marrow::dbg::IIPC* channel, marrow::dbg::DbusIPC* dbus,
                   marrow::dbg::StreamIPC* stream) {
    Delete(command, serviceCommand, channel, dbus, stream);
}

void VirtualTables(ISignalSubscriber* signals, ISectionSubscriber* sections,
                   IProgramSubscriber* programs, IDataSubscriber* captions,
                   IPESDataSubscriber* packets, TCProgramData* program, TSCaption* caption) {
    Delete(signals, sections, programs, captions, packets, program, caption);
}

using SignalListener = marrow::evt::IListenable<marrow::evt::tvs_event_args_t>::IListener;

void VirtualTables(marrow::evt::IListenable<marrow::evt::tvs_event_args_t>* source,
                   SignalListener* listener,
                   marrow::evt::SubscriptionManager<marrow::evt::tvs_event_t,
                                                    marrow::evt::tvs_event_args_t>* manager) {
    Delete(source, manager);
    (void)listener->GetWorker();
}

void VirtualTables(marrow::evt::TVSEventProxy* signals, marrow::evt::TVSSectionEventProxy* sections,
                   marrow::evt::TVSProgramEventProxy* programs,
                   marrow::evt::TVSCaptionEventProxy* captions,
                   marrow::evt::TVSPESEventProxy* packets) {
    Delete(signals, sections, programs, captions, packets);
}

void VirtualTables(marrow::evt::KeyEventProxy* keys, marrow::evt::VConfEventProxy* configuration) {
    Delete(keys, configuration);
}

// Classes whose fields are wanted.
template <typename... T>
constexpr bool ARE_KNOWN = (... && (sizeof(T) != 0));
static_assert(ARE_KNOWN<record_t, PerformanceMonitor, PrintRecordHandler, ModuleClass<Thing>,
                        Quill::TCMessage, marrow::ser::service_info_t, service_context_t,
                        marrow::ser::WorkerFactory, ServiceControl, ServiceManager,
                        marrow::msg::MessageRouter, marrow::dbg::Messenger,
                        marrow::dbg::CommandManager, TSSignalData, TSPESData, TSCaption,
                        marrow::evt::tvs_event_args_t, marrow::evt::tvs_section_event_arg_t,
                        marrow::evt::tvs_program_event_arg_t, marrow::evt::tvs_pes_event_arg_t,
                        marrow::evt::key_event_arg_t, marrow::evt::VConfData>);

// A private one: an explicit instantiation may name it.
template <typename T>
struct Known {
    static_assert(sizeof(T) != 0);
};
template struct Known<marrow::evt::TVSSectionEventProxy::tvs_section_subscriber_t>;

} // namespace layouts
