#include "OrvikCore/Jamf/RequestOutcome.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/HTTP/HTTPSession.h"

namespace orvik {
namespace {

using jamf::APIError;
using Kind = RequestOutcome::Kind;
using platform::HTTPError;
using platform::HTTPErrorKind;

struct Row {
  const char* name;
  std::shared_ptr<const std::exception> error;
  Kind kind;
  std::optional<int> status;
  const char* outcome;
};

template <class E>
std::shared_ptr<const std::exception> made(E error) {
  return std::make_shared<E>(std::move(error));
}

class RequestOutcomeRows : public testing::TestWithParam<Row> {};

TEST_P(RequestOutcomeRows, AreSortedAndDescribed) {
  const auto& row = GetParam();
  EXPECT_EQ(RequestOutcome::classify(*row.error).kind, row.kind);
  const auto described = FailureDescription::describe(*row.error);
  EXPECT_EQ(described.status, row.status);
  EXPECT_EQ(described.outcome, row.outcome);
}

INSTANTIATE_TEST_SUITE_P(
    Errors, RequestOutcomeRows,
    testing::Values(
        Row{"Cancellation", made(platform::CancellationError()), Kind::cancelled, {}, "cancelled"},
        Row{"TransferCancelled",
            made(HTTPError(HTTPErrorKind::cancelled, "x")),
            Kind::cancelled,
            {},
            "cancelled"},
        Row{"TransferTimedOut", made(HTTPError(HTTPErrorKind::timedOut, "x")), Kind::retryable, {}, "retry"},
        Row{"TransferOther", made(HTTPError(HTTPErrorKind::other, "x")), Kind::retryable, {}, "retry"},
        Row{"Authentication401", made(APIError::authenticationFailed(401, {})), Kind::fatal, 401, "failed"},
        Row{"Authentication499", made(APIError::authenticationFailed(499, {})), Kind::fatal, 499, "failed"},
        Row{"Authentication500", made(APIError::authenticationFailed(500, {})), Kind::retryable, 500,
            "retry"},
        Row{"Request403", made(APIError::requestFailed(403, {})), Kind::notPermitted, 403, "notPermitted"},
        Row{"Request404", made(APIError::requestFailed(404, {})), Kind::notFound, 404, "notFound"},
        Row{"Request408", made(APIError::requestFailed(408, {})), Kind::retryable, 408, "retry"},
        Row{"Request425", made(APIError::requestFailed(425, {})), Kind::retryable, 425, "retry"},
        Row{"Request429", made(APIError::requestFailed(429, {})), Kind::retryable, 429, "retry"},
        Row{"Request500", made(APIError::requestFailed(500, {})), Kind::retryable, 500, "retry"},
        Row{"Request599", made(APIError::requestFailed(599, {})), Kind::retryable, 599, "retry"},
        Row{"Request600", made(APIError::requestFailed(600, {})), Kind::fatal, 600, "failed"},
        Row{"Request400", made(APIError::requestFailed(400, {})), Kind::fatal, 400, "failed"},
        Row{"Request401", made(APIError::requestFailed(401, {})), Kind::fatal, 401, "failed"},
        Row{"Transport", made(APIError::transport("x")), Kind::retryable, {}, "retry"},
        Row{"RateLimited", made(APIError::rateLimited({})), Kind::retryable, 429, "retry"},
        Row{"Decoding", made(APIError::decodingFailed("x")), Kind::fatal, {}, "failed"},
        Row{"InvalidBaseURL", made(APIError::invalidBaseURL()), Kind::fatal, {}, "failed"},
        Row{"NotAuthenticated", made(APIError::notAuthenticated()), Kind::fatal, {}, "failed"},
        Row{"DownloadHTTP", made(DownloadError::http(503)), Kind::fatal, 503, "failed"},
        Row{"DownloadNotFound", made(DownloadError::notFound()), Kind::fatal, 404, "notFound"},
        Row{"DownloadNoSource", made(DownloadError::noSource("x")), Kind::fatal, {}, "failed"},
        Row{"AnythingElse", made(std::runtime_error("x")), Kind::fatal, {}, "failed"}),
    [](const auto& row) { return row.param.name; });

TEST(RequestOutcome, ARateLimitHandsOnItsRetryAfter) {
  EXPECT_EQ(RequestOutcome::classify(APIError::rateLimited(30.0)).after, 30.0);
  EXPECT_EQ(RequestOutcome::classify(APIError::requestFailed(429, {})).after, std::nullopt);
}

TEST(DownloadError, SaysItsTexts) {
  EXPECT_EQ(DownloadError::http(503).description(), "Download failed with HTTP 503");
  EXPECT_EQ(DownloadError::incomplete(2000, 1000).description(), "Download incomplete: 1000 of 2000 bytes");
  EXPECT_EQ(DownloadError::noSource("empty list element").description(), "empty list element");
  EXPECT_EQ(DownloadError::notFound().description(), "File not found on the distribution point (HTTP 404)");
}

TEST(DescribeFailure, CutsAnEndlessAnswerAtAWholeCharacter) {
  std::string answer;
  for (int i = 0; i < 100'000; ++i) answer += "ü";
  const auto text = describeFailure(APIError::requestFailed(500, "x" + answer));
  EXPECT_LE(text.size(), 4096U + 3U);
  EXPECT_TRUE(text.starts_with("Jamf Pro API request failed (500): xü"));
  EXPECT_TRUE(text.ends_with("ü…"));
}

TEST(DescribeFailure, TakesTheSentenceOrTheExceptionsOwnText) {
  EXPECT_EQ(describeFailure(APIError::transport("lost")), "Network error: lost");
  EXPECT_EQ(describeFailure(std::runtime_error("odd")), "odd");
}

}  // namespace
}  // namespace orvik
