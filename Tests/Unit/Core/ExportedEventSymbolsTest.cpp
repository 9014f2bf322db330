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

TEST(ExportedEventSymbols, HoldEveryOperationOfTheProxyOfKeysAndItsTable) {
    const std::string listener = ListenerOf("marrow::evt::key_event_arg_t");
    EXPECT_THAT(Missing(Each({"marrow::evt::KeyEventProxy::"},
                             {
                                 "Get()",
                                 "~KeyEventProxy()",
                                 "Subscribe(" + listener +
                                     ", std::vector<std::string, std::allocator<std::string > >)",
                                 "Unsubscribe(" + listener + ")",
                                 "AddKey(std::string)",
                                 "RemoveKey(std::string)",
                                 "KeyEventLoop()",
                                 "InitX()",
                                 "InitAllKeys()",
                                 "KEYS_ALL[abi:cxx11]",
                             })),
                IsEmpty());
    EXPECT_TRUE(Exported().at("marrow::evt::KeyEventProxy::KEYS_ALL[abi:cxx11]").isObject);
}

TEST(ExportedEventSymbols, HoldEveryOperationOfTheProxyOfConfigurationKeys) {
    const std::string value = "marrow::evt::VConfData";
    const std::string arguments = "(std::string, " + ListenerOf(value) + ")";
    EXPECT_THAT(Missing(Each({"marrow::evt::SubscriptionManager<std::string, " + value + ">::"},
                             {
                                 "SubscriptionManager()",
                                 "~SubscriptionManager()",
                                 "Subscribe" + arguments,
                                 "Unsubscribe" + arguments,
                                 "NotifyAll(std::string, " + value + "&)",
                                 "OnFirstSubCb(std::string)",
                                 "OnLastUnsubCb(std::string)",
                                 "ContextCallback(void*)",
                             })),
                IsEmpty());
    EXPECT_THAT(Missing(Each({"marrow::evt::VConfEventProxy::"},
                             {
                                 "GetInstance()",
                                 "~VConfEventProxy()",
                                 "GetValue(char const*, int&)",
                                 "GetValue(char const*, bool&)",
                                 "GetValue(char const*, double&)",
                                 "GetValue(char const*, char*&)",
                                 "SetValue(char const*, int)",
                                 "SetValue(char const*, bool)",
                                 "SetValue(char const*, double)",
                                 "SetValue(char const*, char const*)",
                                 "Delete(char const*)",
                                 "Sync(char const*)",
                                 "OnFirstSubCb(std::string)",
                                 "OnLastUnsubCb(std::string)",
                                 "VConfLibCallback(_keynode_t*, void*)",
                             })),
                IsEmpty());
    EXPECT_THAT(Missing(Each({value + "::"},
                             {
                                 "VConfData(_keynode_t*)",
                                 "GetName[abi:cxx11]()",
                                 "GetType()",
                                 "operator int() const",
                                 "operator bool() const",
                                 "operator double() const",
                                 "operator std::string() const",
                             })),
                IsEmpty());
}

} // namespace
