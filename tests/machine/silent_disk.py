"""A network block server for one disk of zeros with a sector that it answers only after a long while: the emulated drive
in front of it hangs there as a dying one does. Speaks just as much of the protocol as qemu asks for."""

import socket
import struct
import threading

OPTION_GO, OPTION_ABORT = 7, 2
REPLY_ACK, REPLY_INFO, REPLY_UNSUPPORTED = 1, 3, (1 << 31) + 1
READ, WRITE, DISCONNECT = 0, 1, 2


class SilentDisk(threading.Thread):
    """Serves `path` until the process ends. Each read of the silent sector adds a byte to `log`."""

    def __init__(self, path, size, silent_sector, seconds, log):
        super().__init__(daemon=True)
        self._size, self._silent, self._seconds, self._log = size, silent_sector * 512, seconds, log
        self._log.write_bytes(b"")
        self._sending = threading.Lock()
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(str(path))
        self._listener.listen()
        self.start()

    def run(self):
        while True:
            connection, _ = self._listener.accept()
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    @staticmethod
    def _take(connection, count):
        data = b""
        while len(data) < count:
            more = connection.recv(count - len(data))
            if not more:
                raise EOFError
            data += more
        return data

    def _serve(self, connection):
        try:
            self._agree(connection)
            while self._request(connection):
                pass
        except (EOFError, OSError):
            pass
        connection.close()

    def _agree(self, connection):
        connection.sendall(b"NBDMAGIC" + b"IHAVEOPT" + struct.pack(">H", 3))
        self._take(connection, 4)
        while True:
            option, length = struct.unpack(">8xII", self._take(connection, 16))
            self._take(connection, length)

            def reply(kind, data=b"", option=option):
                connection.sendall(struct.pack(">QIII", 0x3E889045565A9, option, kind, len(data)) + data)

            if option == OPTION_GO:
                reply(REPLY_INFO, struct.pack(">HQH", 0, self._size, 1))
                reply(REPLY_ACK)
                return
            reply(REPLY_ACK if option == OPTION_ABORT else REPLY_UNSUPPORTED)

    def _request(self, connection):
        _, _, kind, handle, start, length = struct.unpack(">IHHQQI", self._take(connection, 28))
        if kind == DISCONNECT:
            return False
        if kind == WRITE:
            self._take(connection, length)
        answer = struct.pack(">IIQ", 0x67446698, 0, handle) + (bytes(length) if kind == READ else b"")
        if kind == READ and start <= self._silent < start + length:
            with open(self._log, "ab") as log:
                log.write(b"r")
            threading.Timer(self._seconds, self._answer, (connection, answer)).start()
        else:
            self._answer(connection, answer)
        return True

    def _answer(self, connection, answer):
        try:
            with self._sending:
                connection.sendall(answer)
        except OSError:
            pass  # the guest has gone
