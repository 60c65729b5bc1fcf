// A small SIP client that says exactly what a test wants said.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct ssl_ctx_st;
struct ssl_st;

struct SipAnswer {
    int status = 0; // 0: none came
    std::string text;

    // Values of the headers of that name, in order.
    [[nodiscard]] std::vector<std::string> headers(const std::string& name) const;
    // The first of them; empty when there is none.
    [[nodiscard]] std::string header(const std::string& name) const;
};

class SipClient {
public:
    enum class Transport { Udp, Tcp, Tls };

    // Speaks from a port of its own on the same loopback address. Connects at once; TLS takes any certificate.
    SipClient(const std::string& serverAddress, uint16_t serverPort, Transport transport = Transport::Udp);
    ~SipClient();
    SipClient(const SipClient&) = delete;
    SipClient& operator=(const SipClient&) = delete;

    [[nodiscard]] uint16_t port() const { return _port; }
    // "address:port" as the server writes it.
    [[nodiscard]] std::string source() const;
    [[nodiscard]] std::string contact(const std::string& user) const;

    // Sends a request with this client's own Via, From, Call-ID and a new CSeq, and waits for its answer. `headers` are
    // whole lines; a To header among them replaces the usual one.
    SipAnswer request(const std::string& method, const std::string& user, const std::vector<std::string>& headers = {},
                      const std::string& requestUri = {});
    // Sends these bytes and waits for whatever comes.
    SipAnswer exchange(const std::string& text);
    void send(const std::string& text) const;
    // The next packet, or the next message of the connection; status 0 when none comes within the time.
    SipAnswer receive(int timeoutMs) const;
    // True once the server has closed the connection.
    [[nodiscard]] bool waitForEnd() const;
    // No more will be sent.
    void finish() const;
    // What TLS negotiated ("TLSv1.3 TLS_AES_256_GCM_SHA384").
    [[nodiscard]] std::string cipher() const;
    [[nodiscard]] std::string requestText(const std::string& method, const std::string& user,
                                          const std::vector<std::string>& headers, const std::string& requestUri = {});

    // Registers with digest: a request, the challenge of the algorithm, the request again. Gives the last answer.
    SipAnswer registerUser(const std::string& user, const std::string& password,
                           const std::vector<std::string>& headers, const std::string& algorithm = "MD5");
    // The Authorization header line for one challenge to a registration.
    [[nodiscard]] std::string authorization(const std::string& challenge, const std::string& user,
                                            const std::string& password) const;
    // Its value for any request.
    [[nodiscard]] static std::string credentials(const std::string& challenge, const std::string& user,
                                                 const std::string& password, const std::string& method,
                                                 const std::string& uri);
    [[nodiscard]] std::string serverUri() const;

private:
    void connectToServer();
    // What is there within the time; empty: nothing, or the end.
    [[nodiscard]] std::string readSome(int timeoutMs) const;

    std::string _server;
    std::string _host; // in the form of URIs
    uint16_t _serverPort;
    Transport _transport;
    ssl_ctx_st* _context = nullptr;
    ssl_st* _tls = nullptr;
    mutable std::string _received; // behind the last message
    mutable bool _isEnded = false;
    uint16_t _port = 0;
    int _fd = -1;
    unsigned _cseq = 0;
};

// The value of a parameter of a challenge, unquoted; empty when it is not there.
[[nodiscard]] std::string challengeParam(const std::string& challenge, const std::string& name);
