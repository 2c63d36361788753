#include "cli/status/exchange.h"

#include <gtest/gtest.h>

#include <chrono>

#include "network.h"

constexpr std::uint16_t kPort = 5300;

static Exchange ask(const char* address, const std::string& request, const std::string& answer) {
  Exchange exchange;
  exchange.request.assign(request.begin(), request.end());
  exchange.is_answer = [answer](const Packet& packet) {
    return has_bytes(packet, 0, Bytes(answer.begin(), answer.end())) && packet.size == answer.size();
  };
  const sockaddr_in server = internet_address(address, kPort);
  exchange.socket = Descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  EXPECT_EQ(connect(exchange.socket.number(), reinterpret_cast<const sockaddr*>(&server), sizeof server), 0);
  return exchange;
}

class ExchangeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    set_interface_up("lo");
  }

  // Sends the requests with this time limit; returns how long that took, in milliseconds.
  std::int64_t ask_for(int milliseconds) {
    const auto begin = std::chrono::steady_clock::now();
    run_exchanges(exchanges_, milliseconds);
    const auto lasted = std::chrono::steady_clock::now() - begin;
    return std::chrono::duration_cast<std::chrono::milliseconds>(lasted).count();
  }

  static std::vector<Bytes> answer_yes(const Bytes&) {
    return {{'n', 'o'}, {}, {'y', 'e', 's'}};
  }

  std::vector<Exchange> exchanges_;
};

TEST_F(ExchangeTest, EndsWhenAllIsAnswered) {
  const Responder one(udp_socket("127.0.0.1", kPort), answer_yes);
  const Responder other(udp_socket("127.0.0.2", kPort), answer_yes);
  exchanges_.push_back(ask("127.0.0.1", "request", "yes"));
  exchanges_.push_back(ask("127.0.0.2", "request", "yes"));
  ask_for(60'000);
  EXPECT_TRUE(exchanges_[0].is_answered);
  EXPECT_TRUE(exchanges_[1].is_answered);
}

TEST_F(ExchangeTest, AHostThatIsSilentDoesNotHoldUpTheOthers) {
  const Responder silent(udp_socket("127.0.0.1", kPort), [](const Bytes&) { return std::vector<Bytes>(); });
  const Responder other(udp_socket("127.0.0.2", kPort), answer_yes);
  exchanges_.push_back(ask("127.0.0.1", "request", "yes"));
  exchanges_.push_back(ask("127.0.0.2", "request", "yes"));
  EXPECT_GE(ask_for(2'000), 2'000);
  EXPECT_FALSE(exchanges_[0].is_answered);
  EXPECT_TRUE(exchanges_[1].is_answered);
  EXPECT_GE(silent.count(), 2) << "it is asked again";
}

TEST_F(ExchangeTest, AFloodOfOtherPacketsDoesNotMakeItLonger) {
  const Responder flood(udp_socket("127.0.0.1", kPort), [](const Bytes&) {
    return std::vector<Bytes>(200, Bytes{'n', 'o'});
  });
  exchanges_.push_back(ask("127.0.0.1", "request", "yes"));
  EXPECT_LT(ask_for(100), 30'000);
  EXPECT_FALSE(exchanges_[0].is_answered);
}

TEST_F(ExchangeTest, AHostThatRefusesIsAskedAgain) {
  exchanges_.push_back(ask("127.0.0.1", "request", "yes"));
  int requests = 0;
  std::unique_ptr<Responder> late;
  exchanges_[0].send = [&](const Exchange& exchange) {
    if (++requests == 2) late = std::make_unique<Responder>(udp_socket("127.0.0.1", kPort), answer_yes);
    send(exchange.socket.number(), exchange.request.data(), exchange.request.size(), 0);
  };
  ask_for(60'000);
  EXPECT_TRUE(exchanges_[0].is_answered);
  EXPECT_GE(requests, 2);
}

TEST_F(ExchangeTest, WithoutASocketNothingIsAsked) {
  exchanges_.emplace_back();
  EXPECT_LT(ask_for(60'000), 30'000);
  EXPECT_FALSE(exchanges_[0].is_answered);
}
