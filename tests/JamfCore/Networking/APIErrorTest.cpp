#include "JamfCore/Networking/APIError.h"

#include <gtest/gtest.h>

namespace jamf {
namespace {

TEST(APIError, EveryCaseHasItsSentence) {
  const std::pair<APIError, const char*> rows[] = {
      {APIError::authenticationFailed(401, "bad"), "Authentication with Jamf Pro failed (401): bad"},
      {APIError::authenticationFailed(500, {}), "Authentication with Jamf Pro failed (500): unknown error"},
      {APIError::authenticationFailed(400, ""), "Authentication with Jamf Pro failed (400): "},
      {APIError::requestFailed(404, "gone"), "Jamf Pro API request failed (404): gone"},
      {APIError::requestFailed(500, {}), "Jamf Pro API request failed (500): unknown error"},
      {APIError::decodingFailed("id: missing"), "Failed to decode Jamf Pro API response: id: missing"},
      {APIError::transport("lost"), "Network error: lost"},
      {APIError::invalidBaseURL(), "The Jamf Pro instance URL is missing or invalid."},
      {APIError::notAuthenticated(),
       "No client secret is available for this organization. Try re-adding it."},
      {APIError::rateLimited({}), "Rate limited by Jamf Pro."},
  };
  for (const auto& [error, text] : rows) EXPECT_EQ(error.description(), text);
}

TEST(APIError, TheWaitIsTheShortestTextThatReadsBackToTheSameDouble) {
  const std::pair<double, const char*> rows[] = {{30, "30.0"},
                                                 {0, "0.0"},
                                                 {0.1, "0.1"},
                                                 {1.5, "1.5"},
                                                 {86400, "86400.0"},
                                                 {1e20, "1e+20"},
                                                 {0.1 + 0.2, "0.30000000000000004"}};
  for (const auto& [value, text] : rows)
    EXPECT_EQ(APIError::rateLimited(value).description(),
              "Rate limited by Jamf Pro. Retry after " + std::string(text) + "s.");
}

TEST(APIError, OnlyItsOwnCaseIsThere) {
  const auto error = APIError::requestFailed(403, "no");
  ASSERT_TRUE(error.as<APIError::RequestFailed>());
  EXPECT_EQ(error.as<APIError::RequestFailed>()->statusCode, 403);
  EXPECT_EQ(error.as<APIError::RequestFailed>()->message, "no");
  EXPECT_FALSE(error.as<APIError::AuthenticationFailed>());
  EXPECT_FALSE(error.as<APIError::Transport>());
}

}  // namespace
}  // namespace jamf
