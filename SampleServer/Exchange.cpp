#include "SampleServer/Exchange.h"

#include <algorithm>
#include <variant>

#include "Platform/HTTP/URL.h"
#include "SampleServer/Answers.h"

namespace sample {
namespace {

template <class... Case>
struct Cases : Case... {
  using Case::operator()...;
};

/// Takes a header away, or gives it another value.
void put(Answer& answer, const FaultHeader& fault) {
  if (equalIgnoringCase(fault.name, "Content-Length")) {
    answer.claimedLength = fault.value.value_or("");
    return;
  }
  platform::Bytes kept;
  for (std::string_view rest = answer.headers; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find("\r\n") + 2);
    if (!equalIgnoringCase(line.substr(0, line.find(':')), fault.name)) kept += line;
    rest.remove_prefix(line.size());
  }
  if (fault.value) kept += fault.name + ": " + *fault.value + "\r\n";
  answer.headers = std::move(kept);
}

/// Adds `more` bytes to what is sent of the body, or takes them away.
void stretch(Reply& reply, std::size_t head, std::int64_t more) {
  if (reply.stream) {
    reply.stream->length = std::max<std::int64_t>(0, reply.stream->length + more);
  } else {
    const auto size = static_cast<std::int64_t>(reply.wire.size()) + more;
    reply.wire.resize(std::max(head, static_cast<std::size_t>(std::max<std::int64_t>(0, size))), ' ');
  }
}

/// Leaves the first bytes of a reply whose head has so many.
void cut(Reply& reply, std::size_t head, const FaultCut& fault) {
  const std::size_t whole =
      reply.wire.size() + (reply.stream ? static_cast<std::size_t>(reply.stream->length) : 0);
  std::size_t keep = fault.after;
  if (fault.from == FaultCut::From::body) keep += head;
  if (fault.from == FaultCut::From::end) keep = whole - std::min(whole, fault.after);
  if (keep < reply.wire.size()) {
    reply.wire.resize(keep);
    reply.stream.reset();
  } else if (reply.stream) {
    reply.stream->length = static_cast<std::int64_t>(std::min(keep, whole) - reply.wire.size());
  }
  reply.ending = fault.ending == FaultCut::Ending::reset ? Reply::Ending::reset : Reply::Ending::close;
  reply.status = 0;
}

/// Neither JSON nor UTF-8.
constexpr char garbage = '\xfe';

void spoil(Answer& answer) {
  std::fill(answer.body.begin(), answer.body.end(), garbage);
  if (answer.stream) {
    answer.stream->fill = [](std::int64_t, std::span<char> out) {
      std::fill(out.begin(), out.end(), garbage);
    };
  }
}

Answer plain(const FaultAnswer& fault) {
  Answer answer{.status = fault.status};
  for (const auto& [name, value] : fault.headers) answer.headers += name + ": " + value + "\r\n";
  answer.body = fault.body;
  return answer;
}

void drop(Reply& reply) {
  reply.wire.clear();
  reply.stream.reset();
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
  if (Downloads::isSigned(path) || Downloads::isShared(path)) return downloads_.answer(request, path);
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
  if (fault && std::holds_alternative<FaultGarbage>(*fault)) spoil(made);
  if (const auto* header = fault ? std::get_if<FaultHeader>(&*fault) : nullptr) put(made, *header);
  const auto* length = fault ? std::get_if<FaultLength>(&*fault) : nullptr;
  const bool keeps = request.keepAlive && !length && !made.claimedLength;

  reply.status = made.status;
  reply.ending = keeps ? Reply::Ending::keep : Reply::Ending::close;
  appendAnswer(reply.wire, made, keeps);
  const std::size_t head = reply.wire.size() - made.body.size();
  reply.stream = std::move(made.stream);
  if (length) stretch(reply, head, length->more);
  if (const auto* first = fault ? std::get_if<FaultCut>(&*fault) : nullptr) cut(reply, head, *first);
}

void Exchange::handle(const Request& request, const std::stop_token& stop, Reply& reply) {
  const platform::MonotonicTime started = platform::MonotonicClock::now();
  std::string decoded;
  std::string_view path = request.path.substr(1);
  if (path.find('%') != std::string_view::npos) {
    decoded = platform::percentDecode(path);
    path = decoded;
  }
  const std::uint64_t number = log_.begin(request.method, path);
  reply.wire.clear();
  reply.stream.reset();
  reply.ending = Reply::Ending::keep;
  prepare(request, path, number, started, stop, reply);
  log_.end([&] {
    return LoggedRequest{std::string(request.method),
                         std::string(path),
                         std::string(Downloads::isSigned(path) ? std::string_view() : request.query),
                         request.header("Authorization").has_value(),
                         std::string(request.header("Range").value_or("")),
                         reply.status,
                         started,
                         platform::MonotonicClock::now()};
  });
}

}  // namespace sample
