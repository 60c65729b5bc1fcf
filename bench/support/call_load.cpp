#include "support/call_load.h"

#include "support/free_port.h"
#include "support/office.h"

#include <algorithm>
#include <stdexcept>

namespace {

constexpr unsigned kRegistrationsPerSecond = 2000;

} // namespace

CallTelephones::CallTelephones(uint16_t serverPort, unsigned firstUser, unsigned pairs)
    : _serverPort(serverPort), _callingPort(freeUdpPort()), _calledPort(freeUdpPort())
{
    _users = officeUsers(firstUser, pairs);
    const std::vector<SippUser> called = officeUsers(firstUser + pairs, pairs);
    for (size_t i = 0; i < _users.size(); ++i)
        _users[i].third = called[i].name;
    (void)registerAll(_scratch, _serverPort, _callingPort, _users, pairs, kRegistrationsPerSecond);
    (void)registerAll(_scratch, _serverPort, _calledPort, called, pairs, kRegistrationsPerSecond);
}

SippPlan CallTelephones::planOf(const std::string& scenario, uint16_t ownPort, const CallsWanted& wanted) const
{
    SippPlan plan;
    plan.scenario = std::string(BENCH_FILES "/sipp/") + scenario;
    plan.values = {{"talkMs", std::to_string(wanted.talkMs)}};
    plan.serverPort = _serverPort;
    plan.ownPort = ownPort;
    plan.count = wanted.count;
    plan.perSecond = wanted.perSecond;
    plan.pauseMs = wanted.talkMs;
    return plan;
}

CallTelephones::Run::Run(const CallTelephones& telephones, const CallsWanted& wanted)
    : _count(wanted.count),
      _called(telephones._scratch, telephones.planOf("called.xml", telephones._calledPort, wanted)),
      _calling([&] {
          if (!_called.waitUntilListening())
              throw std::runtime_error("sipp does not listen");
          SippPlan plan = telephones.planOf(wanted.areAuthenticated ? "call_authenticated.xml" : "call.xml",
                                            telephones._callingPort, wanted);
          plan.users = telephones._users;
          if (wanted.areAuthenticated) {
              plan.dialed = telephones._users.back().third;
              for (SippUser& user : plan.users)
                  user.third = plan.dialed;
          }
          return SippLoad(telephones._scratch, plan);
      }())
{}

CallsMade CallTelephones::Run::wait()
{
    const SippResult calling = _calling.wait();
    CallsMade made{calling.successful, calling.failed, calling.retransmissions, calling.seconds, calling.output};
    // Otherwise the called side would wait for calls that do not come.
    if (calling.isAll(_count)) {
        const SippResult called = _called.wait();
        made.successful = std::min(made.successful, called.successful);
        made.failed += called.failed;
        made.retransmissions += called.retransmissions;
    }
    return made;
}

CallsMade CallTelephones::run(const CallsWanted& wanted) const
{
    CallsMade made = start(wanted)->wait();
    expectAllMade(made, wanted.count);
    return made;
}

void expectAllMade(const CallsMade& made, unsigned count)
{
    if (made.successful != count)
        throw std::runtime_error("only " + std::to_string(made.successful) + " of " + std::to_string(count) +
                                 " calls succeeded: " + made.output);
}
