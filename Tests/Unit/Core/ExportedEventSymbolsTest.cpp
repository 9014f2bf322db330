// SPDX-License-Identifier: Apache-2.0

// What hosted libraries bind to in order to hear of events.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "ExportedSymbols.h"

namespace {

using testing::IsEmpty;

// What a hosted library implements for the events of a type.
std::string ListenerOf(const std::string& event) {
    return "marrow::evt::IListenable<" + event + ">::IListener*";
}

TEST(ExportedEventSymbols, HoldEveryOperationOfTheSubscriptionManager) {
    const std::string arguments =
        "(marrow::evt::tvs_event_t, " + ListenerOf("marrow::evt::tvs_event_args_t") + ")";
    EXPECT_THAT(
        Missing(Each({"marrow::evt::SubscriptionManager<marrow::evt::tvs_event_t, "
                      "marrow::evt::tvs_event_args_t>::"},
                     {
                         "SubscriptionManager()",
                         "~SubscriptionManager()",
                         "Subscribe" + arguments,
                         "Unsubscribe" + arguments,
                         "NotifyAll(marrow::evt::tvs_event_t, marrow::evt::tvs_event_args_t&)",
                         "OnFirstSubCb(marrow::evt::tvs_event_t)",
                         "OnLastUnsubCb(marrow::evt::tvs_event_t)",
                         "ContextCallback(void*)",
                     })),
        IsEmpty());
}

TEST(ExportedEventSymbols, HoldEveryOperationOfTheProxiesOfSignalsAndSections) {
    const std::string signal = "(ESignalType, EProfile, unsigned short, ";
    const std::string signalListener = ListenerOf("marrow::evt::tvs_event_args_t");
    EXPECT_THAT(Missing(Each({"marrow::evt::TVSEventProxy::"},
                             {
                                 "Get()",
                                 "~TVSEventProxy()",
                                 "Subscribe" + signal + signalListener + ")",
                                 "Unsubscribe" + signal + signalListener + ")",
                                 "OnFirstSubCb(marrow::evt::tvs_event_t)",
                                 "OnLastUnsubCb(marrow::evt::tvs_event_t)",
                                 "SignalCallback" + signal + "TSSignalData, void*)",
                             })),
                IsEmpty());
    EXPECT_THAT(Missing(Each({"marrow::evt::TVSSectionEventProxy::"},
                             {
                                 "Get()",
                                 "~TVSSectionEventProxy()",
                                 "Subscribe(TCSectionCriteriaHelper const&, " +
                                     ListenerOf("marrow::evt::tvs_section_event_arg_t") + ", int&)",
                                 "Unsubscribe(int)",
                                 "GetNextSubscriberId()",
                                 "SectionCallback(bool, unsigned short, unsigned char*, int)",
                             })),
                IsEmpty());
}

TEST(ExportedEventSymbols, HoldEveryOperationOfTheProxiesOfProgramsCaptionsAndPackets) {
    const std::string program = ListenerOf("marrow::evt::tvs_program_event_arg_t");
    EXPECT_THAT(Missing(Each({"marrow::evt::TVSProgramEventProxy::"},
                             {
                                 "Get()",
                                 "~TVSProgramEventProxy()",
                                 "Subscribe(" + program + ", TCProgramFilteringItem const&, int&)",
                                 "SubscribeListPF(" + program +
                                     ", unsigned long long const&, ESubscribeType, int, int&)",
                                 "SubscribeList(" + program +
                                     ", unsigned long long const&, unsigned int, unsigned int, "
                                     "ESubscribeType, int, int&)",
                                 "Unsubscribe(int)",
                                 "ProgramCallback(EProgramChangeType, TCProgramData*, int, int)",
                             })),
                IsEmpty());
    const std::string caption = ListenerOf("TSCaption");
    EXPECT_THAT(Missing(Each({"marrow::evt::TVSCaptionEventProxy::"},
                             {
                                 "Get()",
                                 "~TVSCaptionEventProxy()",
                                 "Subscribe(" + caption + ")",
                                 "Unsubscribe(" + caption + ")",
                                 "CaptionCallback(TSCaption&, void*)",
                             })),
                IsEmpty());
    const std::string packet = ListenerOf("marrow::evt::tvs_pes_event_arg_t");
    EXPECT_THAT(Missing(Each({"marrow::evt::TVSPESEventProxy::"},
                             {
                                 "Get()",
                                 "~TVSPESEventProxy()",
                                 "Subscribe(" + packet + ")",
                                 "Unsubscribe(" + packet + ")",
                                 "PesDataCallback(TSPESData&, void*)",
                             })),
                IsEmpty());
}

} // namespace
