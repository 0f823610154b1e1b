#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

/// Publishes to any number of subscribers, and sends newcomers a first message that nobody else
/// gets. Subscribers are plain sockets of the Subscribe role (any SUB socket that subscribes to
/// everything); a Publish socket cannot do this, since it sends every message to all.
///
/// A newcomer announces itself and gets nothing until it is admitted; from then on it gets every
/// message, in order, without a gap. Those who are admitted together share their first message: it
/// is in memory once. Nothing waits: a subscriber whose queue is full loses messages, and only that
/// one.
///
/// It is admitted once, whatever it subscribes to, and gets everything, but for what goes out on a
/// topic of its own (Wire): who subscribes to just that one is admitted for that alone. A topic
/// that is too long (over 256 bytes) ends its connection.
///
/// Over IPC it is there for clients (Audience).
///
/// One thread at a time. Throws std::runtime_error, with the name and the endpoint in it;
/// ZmqContextTerminationException while the context is being terminated.
class CatchUpPublisher {
  public:
    /// What messages look like: all of those who subscribe to whatever, or those on one topic.
    struct Wire {
        std::string everybody;  ///< what all but first messages begin with
        /// A message for everybody that means nothing. It goes out when a subscriber is found to
        /// have become too slow, to some or to all.
        std::string filler;
        /// What exactly to subscribe to; all messages of that topic begin with it, and no others.
        /// Empty for those who subscribe to whatever.
        std::string topic = {};
    };

    enum class Announcement {
        None,     ///< there is no more at the moment
        Came,     ///< to be admitted
        Again,    ///< from one that came before, for another topic
        Left,     ///< what is sent to it now goes nowhere
        Unclear,  ///< somebody sent nonsense: admit, since it may hide one that came
    };

    enum class Delivery {
        ToAll,
        SomeLost,  ///< a subscriber has become too slow; told once until it has caught up a little
    };

    /// At most `queueLength` messages wait for a subscriber.
    CatchUpPublisher(std::string name, Wire wire, int queueLength);
    /// With topics of their own: `wires` begins with that of those who subscribe to whatever. They
    /// are called by their numbers in this list.
    CatchUpPublisher(std::string name, std::vector<Wire> wires, int queueLength);
    ~CatchUpPublisher();

    /// Begins to listen. As Socket::connect does for roles that bind.
    void listen(const SocketEndpoint& endpoint);

    /// Takes the next announcement.
    Announcement nextAnnouncement();

    /// Which of the wires the announcement that was taken last is about: 0 also where it is
    /// Unclear.
    std::size_t wireOfAnnouncement() const;

    /// Whether there are announcements to be taken.
    bool hasAnnouncements();

    /// Admits the one whose announcement was taken last, for what the announcement is about: it is
    /// one of those that the next `welcome` with this address is for. Nothing may be sent in
    /// between. No address begins with another that was ever given, with what everybody's messages
    /// begin with, or the other way round; those on a topic begin with the topic.
    void admit(std::string_view address);

    /// Sends those who were admitted with this address their first message: `address` and `body`
    /// together.
    void welcome(std::string_view address, std::string_view body);

    /// Sends one message, `head` and `body` together, to all who are admitted for this wire.
    Delivery publish(std::string_view head, std::string_view body, std::size_t wire = 0);

    /// Readable, for poll, when an announcement may have come since nextAnnouncement or
    /// hasAnnouncements was last called: only after one of them, with nothing sent since, may it be
    /// waited for.
    int descriptor();

    /// "<name> on <endpoint>".
    std::string debugString() const;

  private:
    struct Implementation;
    std::unique_ptr<Implementation> impl;
};

}  // namespace tarn::socket
