"""The network: a ping that is answered or not, and the board's addresses."""

from line import FAIL, PASS
from support import BoardTest
from virtboard import board

PING, ADDRESS = b"\2", b"\3"


class NetworkTest(BoardTest):
    def ping(self, address: str) -> int:
        return self.line.ask("EXT_DEVICE_TEST", PING + address.encode())[0]

    def address_of(self, interface: str) -> tuple[int, str]:
        reply = self.line.ask("EXT_DEVICE_TEST", ADDRESS + interface.encode())
        return reply[0], reply[1:].rstrip(b"\0").decode()

    def test_a_host_that_answers(self):
        self.assertEqual(self.ping(board.PING_ADDRESS), PASS)

    def test_an_address_without_a_host(self):
        self.assertEqual(self.ping("10.0.2.99"), FAIL)

    def test_no_answer_without_the_cable(self):
        self.machine.set_network_cable(False)
        try:
            self.assertEqual(self.ping(board.PING_ADDRESS), FAIL)
        finally:
            self.machine.set_network_cable(True)
            self.on_board(f"until ping -c 1 -W 1 {board.PING_ADDRESS}; do :; done")
        self.assertEqual(self.ping(board.PING_ADDRESS), PASS)

    def test_addresses_of_the_boards_interfaces(self):
        self.assertEqual(self.address_of("eth0"), (PASS, "10.0.2.15"))
        self.assertEqual(self.address_of("lo"), (PASS, "127.0.0.1"))
        self.assertEqual(self.address_of("eth7"), (FAIL, ""))
