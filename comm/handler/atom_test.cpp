#include "comm/handler/atom.h"

#include <unistd.h>

#include "comm/shutdown_message.h"
#include "comm/test_kit.h"
#include "comm/time_message.h"

namespace qv::comm {
namespace {

using message::shutdown::Trigger;

class Atom_handler_test : public test::Core_test {
protected:
    ~Atom_handler_test() override { token.remove(); }
    void pass_half_second(Dispatcher& own)
    {
        primary->post(std::make_unique<message::time_elapsed::Milliseconds_500>());
        primary->process_queue();
        own.process_queue();
        primary->process_queue();
    }

    const std::string name = "atom_handler_test_" + std::to_string(::getpid());
    qv::Atom token{name};
    std::shared_ptr<Dispatcher> primary = primary_dispatcher();
};

TEST_F(Atom_handler_test, asks_once_for_a_stop_when_its_token_is_removed)
{
    for (const bool on_primary : {true, false}) {
        const auto own = on_primary ? primary : create_dispatcher("own", false);
        int triggers = 0;
        listen(primary, {Trigger::id}, [&](message::Message&) { ++triggers; });
        ears_.add(std::make_shared<handler::Atom>(own->id(), name));
        pass_half_second(*own);
        EXPECT_EQ(triggers, 0);
        EXPECT_TRUE(token.remove()) << "the handler makes its token";
        pass_half_second(*own);
        pass_half_second(*own);
        EXPECT_EQ(triggers, 1);
        ears_.clear();
    }
}

} // namespace
} // namespace qv::comm
