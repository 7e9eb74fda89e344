#include "relay/log/Messages.h"

#include <array>

namespace wingbell {

namespace {

using enum Topic;
constexpr auto always = LogEvent::Unthrottled;

// A line says what happened, then what to do. A reason is a clause: no capital, no full stop.
constexpr auto messages = std::to_array<MessageRow>({
    {Message::Usage, NotOnAir, always, "Usage: IntercomServer SHOW-FILE",
     "The server was started by hand without the show's file. Start it from the window."},
    {Message::NeverSaved, NotOnAir, always,
     "Cannot go on air: no show has been saved yet (%1 does not exist): press Save Show, then "
     "start again.",
     "The server reads the show from its file, and there is none yet."},
    {Message::NoShow, NotOnAir, always, "Cannot go on air: the show in %1 cannot be read: %2.",
     "The reason is behind the last colon, in one of the rows of the next table; see [what makes "
     "it unreadable](show-file.md#what-makes-it-unreadable)."},
    {Message::NoSuchPort, NotOnAir, always,
     "Cannot go on air: the show's OSC port is %1; choose one from 1 to 65535 in the control "
     "window.",
     "Type another port, save, start. 47000 is a good one."},
    {Message::TooLarge, NotOnAir, always, "Cannot go on air: the show has more than %1 %2.",
     "More than 1024 channels or roles are a mistake in the file."},
    {Message::PortInUseBy, NotOnAir, always,
     "Cannot go on air: %1 is in use by %2 (process %3); end that program or choose another port "
     "in the control window.",
     "If it is *IntercomServer*: an earlier server, which hangs; otherwise the new one would have "
     "taken over from it. End it in a terminal: if the line says *process 1234*, with `kill -KILL "
     "1234`; then start. If it is another program: end it, or choose another port, save, start; "
     "then print a new card."},
    {Message::PortInUse, NotOnAir, always,
     "Cannot go on air: %1 is in use by another program; end that program or choose another port "
     "in the control window.",
     "That program belongs to another user of the computer, perhaps to a show of theirs: ask them "
     "to switch it off. Or choose another port, save, start; then print a new card."},
    {Message::PortReserved, NotOnAir, always,
     "Cannot go on air: %1 is reserved for the system; choose 1024 or above in the control "
     "window.",
     "Ports below 1024 are the system's own. Choose 47000."},
    {Message::PortNotOpen, NotOnAir, always,
     "Cannot go on air: %1 cannot be opened: %2; choose another port in the control window.",
     "The words after the colon are the system's. Another port may help; a restart of the "
     "computer, too."},
    {Message::NotOnAir, NotOnAir, always, "Cannot go on air: %1.",
     "The reason is in one of the rows of the next table."},

    {Message::OnAir, OnAir, always, "On air with %1: %2, %3, OSC on UDP port %4.",
     "All is well: the show, how many channels and roles, the port."},
    {Message::OnAirIpv4Only, OnAir, always,
     "On air with %1: %2, %3, OSC on UDP port %4 over IPv4 only.",
     "The same; the computer has no IPv6. Nothing to do."},
    {Message::UnnamedShow, OnAir, always, "a show without a name",
     "In place of the show's name, if that is empty."},
    {Message::Join, OnAir, always, "The crew join at %1 with the code %2.", "What the crew need."},
    {Message::JoinOtherwise, OnAir, always, "If that address does not work, try %1",
     "Other addresses of this computer, for phones that cannot reach the first one."},
    {Message::Fingerprint, OnAir, always,
     "The certificate's SHA-256 fingerprint, to compare when a browser warns: %1",
     "By this a phone can tell that it is really this desk that answers: [how to compare "
     "it](phones.md#is-it-really-this-desk)."},
    {Message::Authority, OnAir, always,
     "How to avoid the warning: %1 (the authority's SHA-256 fingerprint: %2)",
     "The address of the page that explains [how a phone trusts this desk for "
     "good](phones.md#no-warning-at-all)."},
    {Message::JoinCard, OnAir, always, "Printable join card: %1",
     "The address of [the card](first-show.md#print-the-card). These lines are repeated "
     "when about 300 others have followed them."},
    {Message::DeskPage, OnAir, always, "The desk's own page, which is not for the crew: %1",
     "Who is there, whose key is open, and what you can do about it: [the desk's "
     "page](desk-page.md). Its address holds a secret."},
    {Message::NewCode, OnAir, always, "A new crew code was made: %1.",
     "The old one is not valid any more. Print a new card and tell the crew. The reason is after "
     "the colon, in one of the rows of the next table."},
    {Message::CodeNotSaved, OnAir, always,
     "The crew code could not be saved, so the next start will make a new one: %1.",
     "Everything works tonight. The words after the colon are in the next table, or the system's: "
     "usually the disk is full."},
    {Message::NewCardSecret, OnAir, always,
     "Cards that were printed before do not open the show any more: %1.",
     "The secret behind the QR codes is new. Print new cards; with the code, the crew can join all "
     "the same. The reason is in the next table."},
    {Message::CardSecretNotSaved, OnAir, always,
     "The secret of the join cards could not be saved, so the next start will make a new one: %1.",
     "Everything works tonight, but cards printed now are not valid after the next start. Same "
     "causes as for the code."},
    {Message::AddressesChanged, OnAir, always,
     "This computer's addresses have changed; if the one on the cards is not below, print new "
     "ones.",
     "The network gave the computer another address, or it has joined another network. The lines "
     "below say where the page is now. Phones at an address that has gone lose the intercom; the "
     "others notice nothing."},
    {Message::NewCertificate, OnAir, always,
     "Phones that do not trust this desk's authority will warn about its new certificate: %1.",
     "They show [the warning](phones.md#the-warning) again. Nothing to do. The reason is after the "
     "colon."},
    {Message::CertificateNotSaved, OnAir, always,
     "The certificate could not be saved, so phones will warn again after the next start: %1.",
     "Everything works tonight. Same causes as for the code."},
    {Message::NewAuthority, OnAir, always,
     "This desk has a new authority, and phones that trusted the one before will warn: %1.",
     "Install the new one on them: [how](phones.md#no-warning-at-all). The reason is after the "
     "colon."},
    {Message::AuthorityNotSaved, OnAir, always,
     "The authority could not be saved, so do not install it on phones tonight: %1.",
     "The next start will make another one. Same causes as for the code."},
    {Message::SharedStateUnused, OnAir, always,
     "The shared folder %1 is not used, so the crew code and cards are this user's own: %2; ask "
     "the administrator.",
     "The desk keeps one code [for all its "
     "users](questions.md#my-colleagues-login-has-another-code), but not "
     "for you. The reason is after the colon, in the next table."},
    {Message::TheatreCertificate, OnAir, always,
     "Using the theatre's own certificate, which is valid until %1.",
     "[Your own certificate](phones.md#a-certificate-of-the-theatres-own) is in use. Replace it "
     "before that day."},
    {Message::TheatreCertificateUnused, OnAir, always,
     "The theatre's own certificate is not used: %1.",
     "The desk uses its own one instead. The reason is after the colon, in the next table."},
    {Message::NotConfined, OnAir, always,
     "This computer's kernel cannot confine the server (%1); everything else works.",
     "In the brackets is what is missing, `no Landlock` or `no seccomp`, or the system's reason. "
     "With a newer kernel [a fault could do less harm](inside.md#what-the-server-may-do)."},
    {Message::TookOver, OnAir, always,
     "Took over from the server that was on air before (process %1); the crew reconnect by "
     "themselves.",
     "An earlier server was still on air, because a server outlives its window. It has ended. Talk "
     "keys that were on are off; the listening levels are as before."},
    {Message::UnknownChannelOfRole, OnAir, always,
     "Ignored an unknown channel: the role %1 names %2, which the show does not have.",
     "The file was edited by hand, or a name is spelt in two ways (*Main*, *main*). The role does "
     "not have that channel tonight."},
    {Message::MoreUnknownChannels, OnAir, always, "Ignored %1 more unknown channel[s].",
     "The same, for more of them."},
    {Message::NoRealTime, OnAir, always,
     "Audio has no real-time priority and may stutter when this computer is busy; install rtkit.",
     "The system did not let the audio go first. Install the package `rtkit`, or close what you do "
     "not need. If it is installed, start the show at the computer itself, not over SSH."},
    {Message::LowBattery, OnAir, always,
     "This computer runs on its battery, which is at %1 %; plug it in.",
     "Told at the start, below 30 %. The show ends when the battery is empty."},
    {Message::OnlyLinkLocal, OnAir, always,
     "This computer has only addresses that it made up itself (link-local); check the cable, the "
     "Wi-Fi and the router.",
     "The network gave it no address, so phones will hardly find it. Usually the router is off or "
     "not connected. When that is solved, the console says where the page is; nothing has to be "
     "restarted."},
    {Message::BlockedByUfw, OnAir, always,
     "The firewall ufw has no rule that allows %1; allow it, or phones cannot join.",
     "[What a firewall must allow](phones.md#a-firewall-on-the-desk), with the commands."},
    {Message::WifiPowerSaving, OnAir, always,
     "Power saving is on for this computer's Wi-Fi (%1), so audio may stutter; use a cable, or "
     "switch it off.",
     "The adapter sleeps between packets. A cable is better in any case. To switch it off until "
     "the next restart: `sudo iw dev NAME set power_save off`, with the name in the brackets."},
    {Message::NoVoice, OnAir, always,
     "Announcements are spoken with an English voice: there is none for this system's language "
     "(%1).",
     "`espeak-ng` does not speak the language of the desktop. Write announcements in English, or "
     "start the show with another language set (`LANG`)."},
    {Message::LinesDropped, OnAir, always, "%1 line[s] dropped: nothing was reading the output.",
     "The window or the terminal did not read the server's output for a while. The show went on."},
    {Message::LateAudio, OnAir, always,
     "Audio missed its deadline in %1 of %2 mixer cycles; this computer was too busy.",
     "At the end of a show: how often the audio stuttered; a cycle is a fiftieth of a second. A "
     "handful does not matter. Close what you do not need; move the show's video to another "
     "computer."},
    {Message::HandedOver, OnAir, always,
     "A later server (process %1) takes over; the crew reconnect to it.",
     "The show was started once more by the same user, perhaps from another window. The console of "
     "that window goes on."},
    {Message::OffAir, OnAir, always, "Off air after %1.",
     "How long the show was on air, `less than a second` at least."},

    {Message::Joined, ComingAndGoing, LogEvent::Joined, "%1 joined as %2.",
     "This role is connected."},
    {Message::JoinedWithoutMicrophone, ComingAndGoing, LogEvent::Joined,
     "%1 joined as %2, without a microphone.",
     "They can only listen: the phone has no microphone, or they did not allow it."},
    {Message::Returned, ComingAndGoing, LogEvent::Joined, "%1 reconnected as %2.",
     "Their network was lost and has come back. Often from the same phone: its Wi-Fi is weak "
     "there."},
    {Message::Left, ComingAndGoing, LogEvent::Left, "%1 left %2.", "They left or closed the page."},
    {Message::StoppedResponding, ComingAndGoing, LogEvent::Left,
     "%1 lost %2: the phone stopped responding.",
     "The phone is out of range, asleep or out of battery. Its keys went off long before."},
    {Message::AudioLost, ComingAndGoing, LogEvent::Left, "%1 lost %2: the audio connection broke.",
     "The page reconnects by itself if it can."},
    {Message::NeverConnected, ComingAndGoing, LogEvent::NeverConnected,
     "%1 could not connect as %2; a firewall may be blocking UDP.",
     "The page opened and the audio did not: a firewall on the desk ([what it must "
     "allow](phones.md#a-firewall-on-the-desk)), or a [guest network](phones.md#guest-networks)."},
    {Message::ForgedCertificate, ComingAndGoing, LogEvent::NeverConnected,
     "%1 was disconnected from %2: its certificate is not the one that its page announced.",
     "Something in the network got between that phone and the desk, or pretends to be it. It was "
     "neither heard nor did it hear anything. Find out which device has that address."},

    {Message::ForgottenKey, ComingAndGoing, LogEvent::ForgottenKey,
     "%1 has kept %2 open for %3 without speech.",
     "This role has a talk key on and says nothing; a minute ago its page reminded it. Everybody "
     "on that channel hears the room of that phone. Ask them to switch it off, or close it "
     "from [the desk's page](desk-page.md#what-it-does)."},

    {Message::DeskOpened, ComingAndGoing, LogEvent::DeskPage, "The desk's page was opened at %1.",
     "[The desk's page](desk-page.md), on this computer or on the one with that address. If that "
     "is none of yours, its address has become known: [make a new "
     "one](desk-page.md#who-can-open-it)."},
    {Message::DeskClosedKeys, ComingAndGoing, LogEvent::DeskPage,
     "The desk's page at %1 closed the talk keys of %2.",
     "Their page tells them so. They can open their keys again."},
    {Message::DeskAnnounces, ComingAndGoing, LogEvent::DeskPage,
     "The desk's page at %1 announces %2 on %3.", "It is being spoken, or waits for its turn."},
    {Message::DeskSilenced, ComingAndGoing, LogEvent::DeskPage,
     "The desk's page at %1 silenced what was announced.",
     "Everything that was being spoken or waited, of every sender."},

    {Message::DesksPageAt, ComingAndGoing, always, "the desk's page at %1",
     "In place of an address, where the desk's page has called or shown a light."},

    {Message::RejectedRequest, Rejected, always, "Rejected %1: %2.",
     "The address, and one of these reasons:"},
    {Message::WrongCode, Rejected, LogEvent::WrongCode, "wrong crew code",
     "A typing mistake. Tell them the code."},
    {Message::MustWait, Rejected, LogEvent::WrongCode, "it has to wait after wrong crew codes",
     "More than five wrong ones. They wait up to a minute and try again, with the right one."},
    {Message::WrongKey, Rejected, LogEvent::WrongCode, "the card that it scanned is not valid",
     "A card of another show, or printed before the show was renamed or the file `card-secret` was "
     "deleted. Tell them the code, and print new cards."},
    {Message::WrongDeskKey, Rejected, LogEvent::WrongCode, "it has no valid key of the desk's page",
     "The address of [the desk's page](desk-page.md) was not copied as a whole, or is an old "
     "one."},
    {Message::NotTls, Rejected, LogEvent::NotTls,
     "not a secure connection; a browser there must accept the certificate first",
     "A device did not use HTTPS, or its connection broke during the handshake. If it is a "
     "phone of the crew, see whether it shows [the warning](phones.md#the-warning). Most browsers "
     "that do so leave no line here."},
    {Message::OscOverTcp, Rejected, LogEvent::NotTls,
     "it sends OSC over TCP; choose UDP in the cue player",
     "The desk takes OSC over UDP alone. In [the cue player](cue-player.md) choose UDP, with the "
     "same "
     "address and port."},
    {Message::TooManyConnections, Rejected, LogEvent::TooManyConnections,
     "too many connections at once", ""},
    {Message::TooManyFromOneAddress, Rejected, LogEvent::TooManyConnections,
     "too many connections from its address", ""},
    {Message::TooManyRequests, Rejected, LogEvent::TooManyRequests, "too many requests", ""},
    {Message::TooSlow, Rejected, LogEvent::TooSlow, "too slow",
     "Far more than a crew causes: a program that scans the network, or very many open pages. If "
     "phones of the crew suffer, find it, or use your own network."},
    {Message::MalformedRequest, Rejected, LogEvent::MalformedRequest, "not a valid HTTP request",
     ""},
    {Message::RequestTooLarge, Rejected, LogEvent::MalformedRequest, "its request was too large",
     "Something that is not a browser asked. Harmless."},
    {Message::ForeignOrigin, Rejected, LogEvent::ForeignRequest,
     "it asked from the page of another site", ""},
    {Message::UnknownHost, Rejected, LogEvent::ForeignRequest,
     "it asked by a name that is not this computer's",
     "A page of another site, or a name that the network gives the desk and the desk does not "
     "know. Use the address on the card."},

    {Message::Announcing, Announcements, LogEvent::Announced, "Announcing %1 on %2, from %3.", ""},
    {Message::AnnouncingCut, Announcements, LogEvent::Announced,
     "Announcing %1 (cut to %4 characters) on %2, from %3.",
     "It is being spoken, or waits for its turn. What is too long is cut: the rest is not "
     "spoken."},
    {Message::EveryChannel, Announcements, always, "every channel", ""},
    {Message::OneChannel, Announcements, always, "channel %1", "Where it is spoken."},
    {Message::RejectedMessage, Announcements, always, "Rejected a message from %1: %2.", ""},
    {Message::RejectedPacket, Announcements, always, "Rejected a packet from %1: %2.",
     "It is not spoken. The reason is one of the next rows."},
    {Message::UnknownChannel, Announcements, LogEvent::UnknownChannel, "the show has no channel %1",
     "The name in the address is not a channel of the show **as it is on air**: look for "
     "capitals, spaces, and whether it was saved before the start."},
    {Message::NoChannelName, Announcements, LogEvent::UnknownChannel,
     "its address ends before the name of a channel",
     "There is a slash at the end: for every channel, `/wingbell/say` has none."},
    {Message::UnknownAddress, Announcements, LogEvent::UnknownAddress,
     "%1 is no address of this desk",
     "A typing mistake in the address; upper and lower case matter. [All "
     "addresses](cue-player.md#all-addresses)."},
    {Message::NoText, Announcements, LogEvent::WrongArguments, "it has no text argument", ""},
    {Message::NotAString, Announcements, LogEvent::WrongArguments, "its argument is not a string",
     ""},
    {Message::SeveralArguments, Announcements, LogEvent::WrongArguments,
     "it has %1 arguments instead of one text",
     "Exactly one argument of the type string. In most cue players: the text between double "
     "quotes."},
    {Message::BlankText, Announcements, LogEvent::BlankText, "its text is blank",
     "There is nothing in it but spaces."},
    {Message::NotUtf8, Announcements, LogEvent::NotUtf8, "its text is not UTF-8",
     "The cue player uses an old text encoding. Use plain letters, or another setting "
     "there."},
    {Message::TooManyWaiting, Announcements, LogEvent::TooManyAnnouncements,
     "%1 of its announcements are already waiting", ""},
    {Message::TooManyWaitingThere, Announcements, LogEvent::TooManyAnnouncements,
     "%1 of its announcements are already waiting for %2",
     "Too many of this sender wait on that channel. They are spoken first; send this one later, or "
     "[take them back](cue-player.md#take-it-back)."},
    {Message::TooMuchWaiting, Announcements, LogEvent::TooManyAnnouncements,
     "its waiting announcements already take %1 seconds to say", ""},
    {Message::TooMuchWaitingThere, Announcements, LogEvent::TooManyAnnouncements,
     "its announcements waiting for %2 already take %1 seconds to say",
     "The same: what this sender has waiting there would be spoken for too long."},
    {Message::QueueFull, Announcements, LogEvent::TooManyAnnouncements,
     "%1 announcements are already waiting",
     "Too many wait in all, and this sender has most of them."},
    {Message::TooManyASecond, Announcements, LogEvent::TooManyAnnouncements,
     "it sends more than %1 announcements a second",
     "The cue player sends too fast, perhaps in a loop."},
    {Message::NoChannels, Announcements, LogEvent::TooManyAnnouncements, "the show has no channels",
     "There is no channel to hear it on. Add a channel."},
    {Message::EmptyPacket, Announcements, LogEvent::UnreadablePacket, "it is empty", ""},
    {Message::NotOsc, Announcements, LogEvent::UnreadablePacket,
     "it is neither an OSC message nor an OSC bundle",
     "That was not OSC: usually the cue player is set to *plain text*."},
    {Message::UnendedAddress, Announcements, LogEvent::UnreadablePacket,
     "its address is not null-terminated", ""},
    {Message::WrongTypeTags, Announcements, LogEvent::UnreadablePacket,
     "its type tags are missing or invalid", ""},
    {Message::WrongArguments, Announcements, LogEvent::UnreadablePacket,
     "its arguments do not match its type tags", ""},
    {Message::WrongLength, Announcements, LogEvent::UnreadablePacket,
     "its length does not match its arguments", ""},
    {Message::NoTimeTag, Announcements, LogEvent::UnreadablePacket,
     "its bundle has no complete time tag", ""},
    {Message::UnendedBundle, Announcements, LogEvent::UnreadablePacket,
     "its bundle ends inside a length", ""},
    {Message::WrongBundleLength, Announcements, LogEvent::UnreadablePacket,
     "its bundle has an impossible length",
     "Broken OSC. Try [without the cue player](cue-player.md#try-it-without-a-cue-player)."},
    {Message::TooManyMessages, Announcements, LogEvent::UnreadablePacket,
     "it holds more than %1 messages", ""},
    {Message::TooDeep, Announcements, LogEvent::UnreadablePacket,
     "its bundles are nested more than %1 deep", "Too much in one bundle."},
    {Message::NotSpoken, Announcements, LogEvent::NotSpoken, "Could not speak %1: %2.",
     "It was accepted, but could not be spoken, or not completely. The reason is one of the next "
     "rows."},
    {Message::Displaced, Announcements, always,
     "too many are waiting, and its sender had the most of them",
     "It gave way to another sender's announcement."},
    {Message::TooLong, Announcements, always, "it was too long and was cut",
     "Longer than a minute and a half. Split it in two."},
    {Message::GaveWay, Announcements, always,
     "it was long and another sender was waiting; it was cut",
     "It had been spoken for 20 seconds. Split it in two."},
    {Message::NotInstalled, Announcements, always, "%1 is not installed", ""},
    {Message::NotStarted, Announcements, always, "%1 cannot be started: %2",
     "The speech program is missing. [Install the desk again](questions.md#install-it-again)."},
    {Message::NothingToSay, Announcements, always, "there is nothing to say in it", ""},
    {Message::NoAudio, Announcements, always, "%1 produced no audio",
     "Only punctuation or signs that cannot be spoken. Write words."},
    {Message::NotWav, Announcements, always, "%1 did not produce 16-bit mono WAVE audio", ""},
    {Message::Hung, Announcements, always, "%1 stopped responding", ""},
    {Message::KilledBySignal, Announcements, always, "%1 was ended by signal %2", ""},
    {Message::EndedWithStatus, Announcements, always, "%1 ended with status %2", ""},
    {Message::EndedWithComplaint, Announcements, always, "%1 ended with status %2 (%3)", ""},
    {Message::NotConfinable, Announcements, always, "it could not be confined",
     "The program that speaks failed; in the brackets is its own complaint. Try again; if it keeps "
     "failing, reinstall the package `espeak-ng`."},
    {Message::Silenced, Announcements, LogEvent::Silenced, "Silenced %1 announcement[s] from %2.",
     "This sender has [taken back](cue-player.md#take-it-back) what it had announced."},
    {Message::NothingToSilence, Announcements, LogEvent::Silenced, "Nothing to silence from %1.",
     "The same, and there was nothing left to take back. What *another* sender announces goes "
     "on."},
    {Message::CallOn, Announcements, LogEvent::Signal, "Call on %1, from %2.",
     "[A call](cue-player.md#calls-and-cue-lights): the phones of those who listen there flash and "
     "sound."},
    {Message::StandbyOn, Announcements, LogEvent::Signal, "Standby on %1, from %2.", ""},
    {Message::GoOn, Announcements, LogEvent::Signal, "Go on %1, from %2.", ""},
    {Message::ClearedOn, Announcements, LogEvent::Signal, "Cleared %1, from %2.",
     "[Cue lights](cue-player.md#calls-and-cue-lights)."},
    {Message::LightText, Announcements, always, "Its text: %1.",
     "Behind the line of a light, if it has a text."},
    {Message::RepliesTo, Announcements, LogEvent::Signal,
     "Acknowledgements are sent to %1, UDP port %2.",
     "A cue player [has asked for them](cue-player.md#acknowledgements)."},
    {Message::NotAPort, Announcements, LogEvent::WrongArguments,
     "its argument is not a port number, an int32 from 1 to 65535",
     "To [get acknowledgements](cue-player.md#acknowledgements) it must send one integer."},
    {Message::TooManySignals, Announcements, LogEvent::TooManyAnnouncements,
     "it sends more than %1 calls and lights a second",
     "The cue player sends too fast, perhaps in a loop."},
});

constexpr auto events = std::to_array<EventRow>({
    {LogEvent::Announced, Announcements, false,
     "Announcing %1 more text[s] that arrived within a second."},
    {LogEvent::NotSpoken, Announcements, false,
     "Could not speak %1 more announcement[s] within a second."},
    {LogEvent::Silenced, Announcements, false,
     "Received %1 more request[s] for silence within a second."},
    {LogEvent::Signal, Announcements, false, "%1 more call[s] and cue lights within a second."},
    {LogEvent::UnreadablePacket, Announcements, true, "Rejected %1 more packet[s]: not valid OSC."},
    {LogEvent::UnknownAddress, Announcements, true,
     "Rejected %1 more message[s]: unknown address."},
    {LogEvent::UnknownChannel, Announcements, true,
     "Rejected %1 more message[s]: unknown channel."},
    {LogEvent::WrongArguments, Announcements, true,
     "Rejected %1 more message[s]: not exactly one text."},
    {LogEvent::BlankText, Announcements, true, "Rejected %1 more message[s]: blank text."},
    {LogEvent::NotUtf8, Announcements, true,
     "Rejected %1 more message[s]: text that is not UTF-8."},
    {LogEvent::TooManyAnnouncements, Announcements, true,
     "Rejected %1 more message[s]: too many announcements, calls or lights."},
    {LogEvent::Joined, ComingAndGoing, false, "%1 more phone[s] joined within a second."},
    {LogEvent::Left, ComingAndGoing, false, "%1 more phone[s] left within a second."},
    {LogEvent::NeverConnected, ComingAndGoing, false,
     "%1 more phone[s] could not connect within a second."},
    {LogEvent::ForgottenKey, ComingAndGoing, false,
     "%1 more role[s] with an open talk key and no speech within a second."},
    {LogEvent::DeskPage, ComingAndGoing, false,
     "The desk's page did %1 more thing[s] within a second."},
    {LogEvent::WrongCode, Rejected, true, "Rejected %1 more request[s]: wrong crew code or card."},
    {LogEvent::TooManyConnections, Rejected, true,
     "Rejected %1 more connection[s]: too many at once."},
    {LogEvent::TooManyRequests, Rejected, true, "Rejected %1 more request[s]: too many."},
    {LogEvent::TooSlow, Rejected, true, "Rejected %1 more request[s]: too slow."},
    {LogEvent::NotTls, Rejected, true, "Rejected %1 more connection[s]: not secure."},
    {LogEvent::MalformedRequest, Rejected, true, "Rejected %1 more request[s]: not valid HTTP."},
    {LogEvent::ForeignRequest, Rejected, true,
     "Rejected %1 more request[s]: from the page of another site."},
});

static_assert(messages.size() == static_cast<std::size_t>(Message::TooManySignals) + 1);
static_assert(events.size() == throttledEventCount);
static_assert([] {
    for (std::size_t index = 0; index < messages.size(); ++index) {
        if (static_cast<std::size_t>(messages.at(index).message) != index) {
            return false;
        }
    }
    for (std::size_t index = 0; index < events.size(); ++index) {
        if (static_cast<std::size_t>(events.at(index).event) != index) {
            return false;
        }
    }
    return true;
}());

const MessageRow& rowOf(Message message)
{
    return messages.at(static_cast<std::size_t>(message));
}

/// `text` with `arguments` in it, in one pass: an argument may hold a percent sign.
QString filled(std::string_view text, const QStringList& arguments)
{
    constexpr QStringView plural = u"[s]";
    const QString pattern = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    QString result;
    for (qsizetype at = 0; at < pattern.size(); ++at) {
        const QStringView rest = QStringView(pattern).sliced(at);
        if (rest.startsWith(plural)) {
            result += arguments.value(0) == QLatin1String("1") ? QString() : QStringLiteral("s");
            at += plural.size() - 1;
        } else if (rest.size() > 1 && rest[0] == u'%' && rest[1] >= u'1' && rest[1] <= u'9') {
            result += arguments.value(rest[1].unicode() - u'1');
            ++at;
        } else {
            result += rest[0];
        }
    }
    return result;
}

} // namespace

std::span<const MessageRow> messageRows()
{
    return messages;
}

std::span<const EventRow> eventRows()
{
    return events;
}

QString messageText(Message message, const QStringList& arguments)
{
    return filled(rowOf(message).text, arguments);
}

LogEvent eventOf(Message message)
{
    return rowOf(message).event;
}

QString heldBackText(LogEvent event, quint64 count)
{
    return filled(
        events.at(static_cast<std::size_t>(event)).more, QStringList(QString::number(count)));
}

bool isRejection(LogEvent event)
{
    return events.at(static_cast<std::size_t>(event)).isRejection;
}

} // namespace wingbell
