"""A mail server for tests: prints {"port": N}, then each letter that it took as a line of JSON.

usage: mail_stand.py [--tls starttls|tls|none] [--key FILE --certificate FILE] [--user NAME --password WORD]
                     [--fault NAME]
Faults: silent (connects and says nothing), refuse (no sender is good), full (no letter is taken), drop
(closes when it has all of a letter), mute (takes one and never says so), hold (takes it when a line comes in), plain
(never heard of STARTTLS), gone (closes at once), stay (says no goodbye).
"""
import argparse
import asyncio
import email
import json
import ssl
import sys

from aiosmtpd.smtp import SMTP, AuthResult

options = argparse.ArgumentParser()
for name in ("tls", "key", "certificate", "user", "password", "fault"):
    options.add_argument("--" + name, default="")
options = options.parse_args()


def say(what):
    print(json.dumps(what), flush=True)


class Letters:
    async def handle_MAIL(self, server, session, envelope, address, mail_options):
        if options.fault == "refuse":
            return "550 not from you"
        envelope.mail_from = address
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        if options.fault == "full":
            return "452 no room"
        if options.fault == "mute":
            await asyncio.sleep(3600)
        if options.fault == "hold":
            await asyncio.get_running_loop().run_in_executor(None, sys.stdin.readline)
        letter = email.message_from_bytes(envelope.content)
        secure = server.transport.get_extra_info("sslcontext") is not None
        say({"from": envelope.mail_from, "to": envelope.rcpt_tos, "tls": secure,
             "user": session.auth_data.decode() if session.auth_data else "",
             "heads": sorted(letter.keys()), "subject": letter["Subject"], "head_to": letter["To"],
             "text": letter.get_payload(decode=True).decode()})
        return "250 OK"


class Server(SMTP):
    async def smtp_DATA(self, arg):
        if options.fault != "drop":
            return await super().smtp_DATA(arg)
        await self.push("354 go on")
        line = await self._reader.readline()
        while line not in (b".\r\n", b""):
            line = await self._reader.readline()
        self.transport.abort()

    async def smtp_QUIT(self, arg):
        if options.fault == "stay":
            await asyncio.sleep(3600)
        await super().smtp_QUIT(arg)

    async def smtp_EHLO(self, hostname):
        if options.fault == "gone":
            return self.transport.abort()
        await super().smtp_EHLO(hostname)


def authenticator(server, session, envelope, mechanism, data):
    good = data.login == options.user.encode() and data.password == options.password.encode()
    return AuthResult(success=good, handled=False, auth_data=data.login)


async def silent(reader, writer):
    await reader.read()


async def main():
    context = None
    if options.certificate:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(options.certificate, options.key)
    starttls = options.tls == "starttls" and options.fault != "plain"

    def server():
        return Server(Letters(), hostname="stand", tls_context=context if starttls else None,
                      require_starttls=starttls, auth_required=bool(options.user),
                      auth_require_tls=starttls, authenticator=authenticator if options.user else None)

    loop = asyncio.get_running_loop()
    if options.fault == "silent":
        listener = await asyncio.start_server(silent, "127.0.0.1", 0)
    else:
        listener = await loop.create_server(server, "127.0.0.1", 0, ssl=context if options.tls == "tls" else None)
    say({"port": listener.sockets[0].getsockname()[1]})
    await listener.serve_forever()


asyncio.run(main())
