#include "SampleServer/Exchange.h"

#include <algorithm>
#include <variant>

#include "SampleServer/Answers.h"

namespace sample {
namespace {

template <class... Case>
struct Cases : Case... {
  using Case::operator()...;
};

Answer plain(const FaultAnswer& fault) {
  Answer answer{.status = fault.status};
  for (const auto& [name, value] : fault.headers) answer.headers += name + ": " + value + "\r\n";
  answer.body = fault.body;
  return answer;
}

void drop(Reply& reply) {
  reply.wire.clear();
  reply.ending = Reply::Ending::close;
  reply.status = 0;
}

}  // namespace

void Exchange::setHook(RequestHook hook) {
  std::lock_guard lock(mutex_);
  hooked_ = static_cast<bool>(hook);
  hook_ = hook ? std::make_shared<const RequestHook>(std::move(hook)) : nullptr;
}

Answer Exchange::answer(const Request& request, std::string_view path) const {
  if (path == "api/oauth/token" || path == "api/v1/oauth/token") {
    return request.method == "POST" ? tokens_.issue(request.body) : failureFor(path, 405);
  }
  const auto authorization = request.header("Authorization");
  if (!authorization || !tokens_.accepts(*authorization)) return failureFor(path, 401);
  return router_.answer(request, path);
}

void Exchange::prepare(const Request& request, std::string_view path, std::uint64_t number,
                       platform::MonotonicTime started, const std::stop_token& stop, Reply& reply) {
  if (hooked_) {
    std::shared_ptr<const RequestHook> hook;
    {
      std::lock_guard lock(mutex_);
      hook = hook_;
    }
    if (hook) (*hook)(number);
  }
  const auto fault = faults_.match(request.method, path, request.query);
  platform::MonotonicTime due = started + delay_.load();
  if (fault) {
    if (std::holds_alternative<FaultHang>(*fault)) due = platform::MonotonicTime::max();
    if (const auto* delay = std::get_if<FaultDelay>(&*fault)) due = std::max(due, started + delay->duration);
  }
  if (due > started && !platform::waitUntil(due, stop)) return drop(reply);

  const auto* replacement = fault ? std::get_if<FaultAnswer>(&*fault) : nullptr;
  Answer made = replacement ? plain(*replacement) : answer(request, path);
  if (fault && std::holds_alternative<FaultGarbage>(*fault))
    std::fill(made.body.begin(), made.body.end(), '\xfe');
  reply.status = made.status;
  reply.ending = request.keepAlive ? Reply::Ending::keep : Reply::Ending::close;
  appendAnswer(reply.wire, made, request.keepAlive);
  if (const auto* cut = fault ? std::get_if<FaultCut>(&*fault) : nullptr) {
    reply.wire.resize(std::min(reply.wire.size(), cut->after));
    reply.ending = cut->ending == FaultCut::Ending::reset ? Reply::Ending::reset : Reply::Ending::close;
    reply.status = 0;
  }
}

void Exchange::handle(const Request& request, const std::stop_token& stop, Reply& reply) {
  const platform::MonotonicTime started = platform::MonotonicClock::now();
  std::string decoded;
  std::string_view path = request.path.substr(1);
  if (path.find('%') != std::string_view::npos) {
    decoded = percentDecode(path);
    path = decoded;
  }
  const std::uint64_t number = log_.begin(request.method, path);
  reply.wire.clear();
  reply.ending = Reply::Ending::keep;
  prepare(request, path, number, started, stop, reply);
  log_.end([&] {
    return LoggedRequest{std::string(request.method),
                         std::string(path),
                         std::string(request.query),
                         request.header("Authorization").has_value(),
                         reply.status,
                         started,
                         platform::MonotonicClock::now()};
  });
}

}  // namespace sample
