#include "lumo/api/client.h"
#include "platform/service.h"
#include "service_api/client/observable.h"
#include "tests/service_api_client/connected_client.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {
namespace {

// One observer of every sub-client's events, noting "<face> <operation> <message> <payload>".
class RecordingObserver final : public Display::IObserver,
                                public Display::ITouchScreenObserver,
                                public DcScript::IObserver,
                                public Wrtl::IObserver {
  public:
    explicit RecordingObserver(std::vector<std::string>& log) : m_log(log) {}

#define LUMO_NOTE(face, id)                                                                \
    void OnServerMessage##id(const ServiceRecord& record) override {                       \
        m_log.push_back(face " " #id " " + std::to_string(record.header.messageId) + " " + \
                        Hex(record.payload.data(), record.payload.size()));                \
    }
#define LUMO_NOTE_DISPLAY(id) LUMO_NOTE("display", id)
#define LUMO_NOTE_TOUCH_SCREEN(id) LUMO_NOTE("touch", id)
#define LUMO_NOTE_DC_SCRIPT(id) LUMO_NOTE("script", id)
#define LUMO_NOTE_WRTL(id) LUMO_NOTE("wrtl", id)
    LUMO_DISPLAY_OBSERVER_MESSAGES(LUMO_NOTE_DISPLAY)
    LUMO_TOUCH_SCREEN_OBSERVER_MESSAGES(LUMO_NOTE_TOUCH_SCREEN)
    LUMO_DC_SCRIPT_OBSERVER_MESSAGES(LUMO_NOTE_DC_SCRIPT)
    LUMO_WRTL_OBSERVER_MESSAGES(LUMO_NOTE_WRTL)
#undef LUMO_NOTE_DISPLAY
#undef LUMO_NOTE_TOUCH_SCREEN
#undef LUMO_NOTE_DC_SCRIPT
#undef LUMO_NOTE_WRTL
#undef LUMO_NOTE

  private:
    std::vector<std::string>& m_log;
};

class SubClientTest : public ConnectedClientTest {
  protected:
    void SetUp() override { Connect(); }
    // Once on every list: each sub-client keeps its own.
    void Subscribe(RecordingObserver& observer) {
        m_client->GetDisplayClient().Observers().AddObserver(&observer);
        m_client->GetDisplayClient().TouchScreenObservers().AddObserver(&observer);
        m_client->GetDcScriptClient().Observers().AddObserver(&observer);
        m_client->GetWrtlClient().Observers().AddObserver(&observer);
    }

    std::vector<std::string> m_log;
};

TEST_F(SubClientTest, EachMessageReachesItsObserverFace) {
    RecordingObserver observer(m_log);
    Subscribe(observer);
    std::vector<std::pair<std::uint32_t, std::string>> cases;
#define LUMO_EXPECT(face, id) cases.push_back({id, face " " #id " " #id " 5a"});
#define LUMO_EXPECT_DISPLAY(id) LUMO_EXPECT("display", id)
#define LUMO_EXPECT_TOUCH_SCREEN(id) LUMO_EXPECT("touch", id)
#define LUMO_EXPECT_DC_SCRIPT(id) LUMO_EXPECT("script", id)
#define LUMO_EXPECT_WRTL(id) LUMO_EXPECT("wrtl", id)
    LUMO_DISPLAY_OBSERVER_MESSAGES(LUMO_EXPECT_DISPLAY)
    LUMO_TOUCH_SCREEN_OBSERVER_MESSAGES(LUMO_EXPECT_TOUCH_SCREEN)
    LUMO_DC_SCRIPT_OBSERVER_MESSAGES(LUMO_EXPECT_DC_SCRIPT)
    LUMO_WRTL_OBSERVER_MESSAGES(LUMO_EXPECT_WRTL)
#undef LUMO_EXPECT_DISPLAY
#undef LUMO_EXPECT_TOUCH_SCREEN
#undef LUMO_EXPECT_DC_SCRIPT
#undef LUMO_EXPECT_WRTL
#undef LUMO_EXPECT
    ASSERT_EQ(cases.size(), 21u);

    for (const auto& [messageId, expected] : cases) {
        m_log.clear();
        Tell(messageId, 0, 0, {0x5A});
        EXPECT_EQ(m_log, std::vector<std::string>{expected}) << "message " << messageId;
    }
    EXPECT_TRUE(m_client->log.empty()) << "sub-client messages are not the client's own";
}

struct Hearing {
    virtual ~Hearing() = default;
    virtual void Hear(int value) = 0;
};

struct Ear final : Hearing {
    void Hear(int value) override { heard.push_back(value); }
    std::vector<int> heard;
};

// Removes one observer and adds another when it hears something.
struct Meddler final : Hearing {
    void Hear(int) override {
        list->RemoveObserver(removes);
        list->AddObserver(adds);
    }
    Events::Observable<Hearing>* list;
    Hearing* removes;
    Hearing* adds;
};

// Ends the list's owner, and with it the list, when it hears something.
struct Ender final : Hearing {
    explicit Ender(std::unique_ptr<Events::Observable<Hearing>>& owned) : list(owned) {}
    void Hear(int) override { list.reset(); }
    std::unique_ptr<Events::Observable<Hearing>>& list;
};

TEST(Observable, AnObserverMayChangeTheListOrEndItWhileItIsNotified) {
    auto list = std::make_unique<Events::Observable<Hearing>>();
    Ear victim, late, after;
    Meddler meddler;
    meddler.list = list.get();
    meddler.removes = &victim;
    meddler.adds = &late;
    list->AddObserver(&meddler);
    list->AddObserver(&victim);
    list->AddObserver(nullptr);

    list->Notify(&Hearing::Hear, 1);
    list->Notify(&Hearing::Hear, 2);
    EXPECT_TRUE(victim.heard.empty()) << "removed before its turn";
    EXPECT_EQ(late.heard, std::vector<int>{2}) << "added for the next event";

    Ender ender(list);
    list->AddObserver(&ender);
    list->AddObserver(&after);
    list->Notify(&Hearing::Hear, 3);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(late.heard, (std::vector<int>{2, 3})) << "added at every event, held once";
    EXPECT_TRUE(after.heard.empty()) << "the list ended before its turn";
}

}  // namespace
}  // namespace Quorvel::Lumo::Api::testing
