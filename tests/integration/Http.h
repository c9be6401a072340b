#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace varnock::test {

/// The text as a part of a query.
inline std::string percentEncoded(std::string_view text) {
    std::string out;
    for (const char c : text) {
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
        out += code;
    }
    return out;
}

/// The body that a server on this machine answers to GET; empty if it is not there or answers with
/// another status than 200.
inline std::string httpGet(std::uint16_t port, const std::string& target) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const std::string request =
        "GET " + target + " HTTP/1.0\r\nHost: localhost\r\nConnection: close\r\n\r\n";
    std::string reply;
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        send(descriptor, request.data(), request.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(request.size())) {
        char bytes[65536];
        for (ssize_t got = 0; (got = read(descriptor, bytes, sizeof bytes)) > 0;) {
            reply.append(bytes, static_cast<std::size_t>(got));
        }
    }
    close(descriptor);
    const std::size_t body = reply.find("\r\n\r\n");
    const bool isOk = reply.substr(0, reply.find('\r')).find(" 200 ") != std::string::npos;
    return isOk && body != std::string::npos ? reply.substr(body + 4) : std::string();
}

}  // namespace varnock::test
