"""The registration token judged as a service judges it, apart from the client library:
deciphered with Debian's pycryptodome DES, and held to this module's own rule for the
minute it must name."""
import datetime

from Cryptodome.Cipher import DES


def token_minute(token_hex, key=bytes(8)):
    """(day, month, hour, minute) that the token names; None when its four padding bytes are
    not zero, as a token made with another key reads."""
    plain = DES.new(key, DES.MODE_ECB).decrypt(bytes.fromhex(token_hex))
    return tuple(plain[:4]) if plain[4:] == bytes(4) else None


def minutes_between(before, after):
    """Every (day, month, hour, minute) from the minute before `before` to the one after
    `after`: a token names the minute it was made in, and a clock may be a minute apart."""
    minute = before.replace(second=0, microsecond=0) - datetime.timedelta(minutes=1)
    minutes = []
    while minute <= after + datetime.timedelta(minutes=1):
        minutes.append((minute.day, minute.month, minute.hour, minute.minute))
        minute += datetime.timedelta(minutes=1)
    return minutes
