#include "cachedb2/http.h"

#include "support/http_server.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Answers everything with one text.
class OneAnswerServer : public HttpServer {
public:
    explicit OneAnswerServer(const std::string& text) : HttpServer([text](const std::string&) { return text; }) {}
};

} // namespace

TEST(HttpGet, GivesTheBodyOfAGoodAnswer)
{
    const OneAnswerServer server(HttpServer::answer("200 OK", "20240502\n"));
    Cbcl_tmp_str reply;
    EXPECT_EQ(0u, DbHttpGet(server.url().c_str(), reply));
    EXPECT_STREQ("20240502\n", reply.c_str());
}

TEST(HttpGet, FailsWithAnEmptyReplyOnAnyOtherStatus)
{
    for (const char* status : {"404 Not Found", "500 Broken", "304 Not Modified"}) {
        const OneAnswerServer server(HttpServer::answer(status, "body"));
        Cbcl_tmp_str reply;
        reply.setText("left over");
        EXPECT_EQ(1u, DbHttpGet(server.url().c_str(), reply)) << status;
        EXPECT_STREQ("", reply.c_str());
    }
}

TEST(HttpGet, BoundsTheReply)
{
    const OneAnswerServer fits(HttpServer::answer("200 OK", std::string(64 << 10, 'x')));
    const OneAnswerServer tooLong(HttpServer::answer("200 OK", std::string((64 << 10) + 1, 'x')));
    Cbcl_tmp_str reply;
    EXPECT_EQ(0u, DbHttpGet(fits.url().c_str(), reply));
    EXPECT_EQ(unsigned{64 << 10}, reply.getStrLen());
    EXPECT_EQ(1u, DbHttpGet(tooLong.url().c_str(), reply));
    EXPECT_EQ(0u, reply.getStrLen());
}

TEST(HttpGet, GivesUpOnAServerThatDoesNotAnswer)
{
    const OneAnswerServer server("");
    Cbcl_tmp_str reply;
    EXPECT_EQ(1u, DbHttpGet(server.url().c_str(), reply));
}

TEST(HttpGet, FetchesWebAddressesOnly)
{
    Cbcl_tmp_str reply;
    for (const char* url :
         {"file:///etc/hostname", "ftp://127.0.0.1/", "nonsense", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(1u, DbHttpGet(url, reply));
}

TEST(HttpGet, FollowsARedirectionButNotToAFile)
{
    const OneAnswerServer target(HttpServer::answer("200 OK", "here"));
    const OneAnswerServer there("HTTP/1.1 302 Found\r\nLocation: " + target.url() + "\r\nContent-Length: 0\r\n\r\n");
    const OneAnswerServer file("HTTP/1.1 302 Found\r\nLocation: file:///etc/hostname\r\nContent-Length: 0\r\n\r\n");
    Cbcl_tmp_str reply;
    EXPECT_EQ(0u, DbHttpGet(there.url().c_str(), reply));
    EXPECT_STREQ("here", reply.c_str());
    EXPECT_EQ(1u, DbHttpGet(file.url().c_str(), reply));
}
