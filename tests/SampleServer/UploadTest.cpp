#include "Platform/Crypto/Digest.h"
#include "Platform/Hex.h"
#include "SampleServer/Multipart.h"
#include "tests/SampleServer/Writing.h"

namespace sample {
namespace {

constexpr const char* type = "multipart/form-data; boundary=Boundary-1A";

std::string form(std::string_view fileName, std::string_view content, std::string_view field = "file") {
  return "--Boundary-1A\r\nContent-Disposition: form-data; name=\"" + std::string(field) + "\"; filename=\"" +
         std::string(fileName) + "\"\r\nContent-Type: application/octet-stream\r\n\r\n" +
         std::string(content) + "\r\n--Boundary-1A--\r\n";
}

TEST(SampleMultipart, GivesTheFieldsWithTheirBytes) {
  const std::string content("\0\r\n--Boundary-1\r\n\xff--", 21);
  const std::string body = form("a b.pkg", content);
  const auto parts = parseMultipart(type, body);
  ASSERT_EQ(parts.size(), 1U);
  EXPECT_EQ(parts[0].name, "file");
  EXPECT_EQ(parts[0].fileName, "a b.pkg");
  EXPECT_EQ(parts[0].content, content);
  EXPECT_EQ(parseMultipart("Multipart/Form-Data; charset=x; Boundary=\"Boundary-1A\"", body).size(), 1U);
  EXPECT_EQ(parseMultipart(type, "for nobody\r\n" + body).size(), 1U);
  const std::string empty = form("e", "");
  EXPECT_EQ(parseMultipart(type, empty)[0].content, "");
}

TEST(SampleMultipart, AFileNameMayHoldAQuote) {
  const std::string body = form("a\"b\".pkg", "x");
  EXPECT_EQ(parseMultipart(type, body)[0].fileName, "a\"b\".pkg");
}

TEST(SampleMultipart, DamagedFormsAreRefused) {
  const std::string good = form("a", "x");
  for (const char* bad : {"", "multipart/form-data", "multipart/form-data;", "multipart/form-data; boundary=",
                          "multipart/form-data; boundary=\"Boundary-1A", "application/json",
                          "multipart/mixed; boundary=Boundary-1A", "multipart/form-data; boundary=other"})
    EXPECT_THROW(parseMultipart(bad, good), MultipartError) << bad;
  EXPECT_THROW(parseMultipart("multipart/form-data; boundary=" + std::string(71, 'a'), good), MultipartError);
  // Cut anywhere ahead of the last boundary's end.
  for (std::size_t cut = 0; cut < good.size() - 2; ++cut)
    EXPECT_THROW(parseMultipart(type, std::string_view(good).substr(0, cut)), MultipartError) << cut;
  EXPECT_THROW(parseMultipart(type, "--Boundary-1A\r\nContent-Type: a\r\n\r\nx\r\n--Boundary-1A--"),
               MultipartError);
  EXPECT_THROW(parseMultipart(type, "--Boundary-1A\r\n\r\n\r\nx\r\n--Boundary-1A--"), MultipartError);
  EXPECT_THROW(parseMultipart(type, "--Boundary-1Ax\r\n\r\nx\r\n--Boundary-1A--"), MultipartError);
  std::string many;
  for (int i = 0; i < 1000; ++i)
    many += "--Boundary-1A\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nx\r\n";
  EXPECT_THROW(parseMultipart(type, many + "--Boundary-1A--"), MultipartError);
  EXPECT_THROW(parseMultipart(type, "--Boundary-1A\r\n" + std::string(1 << 20, 'x')), MultipartError);
}

class SampleUpload : public Writing {
 protected:
  std::string package(const std::string& fileName) {
    return create(
        "api/v1/packages",
        R"({"packageName":"W","fileName":")" + fileName +
            R"(","categoryId":"-1","priority":10,"fillUserTemplate":false,"rebootRequired":true,"osInstall":false,"suppressUpdates":false,"suppressFromDock":false,"suppressEula":false,"suppressRegistration":false})");
  }
  Received upload(const std::string& id, std::string_view fileName, std::string_view content) {
    return client_.write("POST", "api/v1/packages/" + id + "/upload", form(fileName, content), type);
  }
  static std::string digest(platform::DigestAlgorithm algorithm, std::string_view content) {
    platform::Digest made(algorithm);
    made.update(content);
    return platform::hexEncode(made.finish());
  }
  /// What the cloud hands out for a file.
  std::string download(std::string_view fileName) {
    const Value answer = get("api/v1/jcds/files/" + percentEncoded(fileName));
    std::string path = *answer.find("uri")->string();
    path.erase(0, server_.url().size());
    return RawClient(server_.port()).ask("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n").body;
  }
};

TEST_F(SampleUpload, TheFileIsListedAndHandedOutWithItsDigests) {
  const std::string content("\x00\x01pkg\r\n\xff", 8);
  const std::string id = package("Werkzeug 1.pkg");
  const Received answer = upload(id, "Werkzeug 1.pkg", content);
  ASSERT_EQ(answer.status, 201) << answer.body;
  EXPECT_EQ(*valueOf(answer).find("id"), Value(id));
  const Value record = get("api/v1/packages/" + id);
  EXPECT_EQ(*record.find("hashType"), Value("SHA_512"));
  EXPECT_EQ(*record.find("hashValue"), Value(digest(platform::DigestAlgorithm::sha512, content)));
  EXPECT_EQ(*record.find("size"), Value("8"));
  EXPECT_EQ(*record.find("cloudTransferStatus"), Value("READY"));
  EXPECT_EQ(download("Werkzeug 1.pkg"), content);
  EXPECT_EQ(server_.packageSHA256("Werkzeug 1.pkg"), digest(platform::DigestAlgorithm::sha256, content));
  const Value files = get("api/v1/jcds/files");
  const Value& listed = files.array_()->back();
  EXPECT_EQ(*listed.find("fileName"), Value("Werkzeug 1.pkg"));
  EXPECT_EQ(*listed.find("length"), Value(8));
  EXPECT_EQ(*listed.find("md5"), Value(digest(platform::DigestAlgorithm::md5, content)));
}

TEST_F(SampleUpload, TheFormsFileNameReplacesTheRecords) {
  const std::string id = package("alt.pkg");
  ASSERT_EQ(upload(id, "neu ä.pkg", "new").status, 201);
  EXPECT_EQ(*get("api/v1/packages/" + id).find("fileName"), Value("neu ä.pkg"));
  EXPECT_EQ(download("neu ä.pkg"), "new");
  EXPECT_EQ(client_.get("api/v1/jcds/files/alt.pkg").status, 404);
  ASSERT_TRUE(server_.change("packages", id));
  EXPECT_EQ(*get("api/v1/packages/" + id).find("fileName"), Value("neu ä.pkg"));
}

TEST_F(SampleUpload, AFileThatWasThereIsReplaced) {
  const std::string name = *get("api/v1/packages/1").find("fileName")->string();
  const std::size_t files = server_.ids("jcdsFiles").size();
  ASSERT_EQ(upload("1", name, "short").status, 201);
  EXPECT_EQ(download(name), "short");
  EXPECT_EQ(server_.ids("jcdsFiles").size(), files);
  EXPECT_EQ(*get("api/v1/packages/1").find("size"), Value("5"));
  ASSERT_TRUE(server_.remove("jcdsFiles", name));
  ASSERT_EQ(upload("1", name, "again").status, 201);
  EXPECT_EQ(download(name), "again");
  ASSERT_TRUE(server_.changePackageFile(name));
  EXPECT_NE(download(name), "again");
  EXPECT_EQ(download(name).size(), 5U);
}

TEST_F(SampleUpload, WhatIsNoUploadIsRefused) {
  const std::string path = "api/v1/packages/1/upload";
  expectRefused(client_.write("POST", path, form("a", "x", "other"), type), 400, "INVALID_FIELD", "file");
  expectRefused(client_.write("POST", path, form("", "x"), type), 400, "INVALID_FIELD", "file");
  expectRefused(client_.write("POST", path, "x", type), 400, "INVALID_FIELD", "file");
  expectRefused(client_.write("POST", path, form("a", "x")), 400, "INVALID_FIELD", "file");
  EXPECT_EQ(upload("999", "a", "x").status, 404);
  EXPECT_EQ(client_.get(path).status, 405);
}

TEST_F(SampleUpload, OnlyAnUploadMayBeLarge) {
  const std::string id = package("gross.pkg");
  const std::string content(20 << 20, 'x');
  EXPECT_EQ(upload(id, "gross.pkg", content).status, 201);
  EXPECT_EQ(*get("api/v1/packages/" + id).find("size"), Value(std::to_string(content.size())));
  const auto status = [&](std::string_view path, std::size_t length) {
    return RawClient(server_.port())
        .ask("POST /" + std::string(path) + " HTTP/1.1\r\nContent-Length: " + std::to_string(length) +
             "\r\n\r\n")
        .status;
  };
  EXPECT_EQ(status("api/v1/packages/1/upload", (64 << 20) + 1), 413);
  EXPECT_EQ(status("api/v1/packages/1", (16 << 20) + 1), 413);
  EXPECT_EQ(status("api/v1/scripts", (16 << 20) + 1), 413);
}

}  // namespace
}  // namespace sample
