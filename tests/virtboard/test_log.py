"""The system log: the lines of one command, as a real log daemon wrote them."""

import re

from support import BoardTest

LINE = re.compile(r"\w{3} [ \d]\d \d\d:\d\d:\d\d board user\.debug (\[\w+\]): (.*)")
EXPECTED = """
[testapp]: [D] [CUARTReceiver::ReceivePacket] =====> RECV HEAD : 5A0105
[testapp]: [D] [CUARTReceiver::ReceivePacket] =====> RECV BODY : 02000000000000000000000000000000
[testapp]: [D] [CUARTReceiver::ReceivePacket] =====> RECV BODY : 00000000000000000000
[testapp]: [D] [CUARTReceiver::ReceivePacket] =====> RECV TAIL : 5C03
[testapp]: [D] [CUARTMgr::OnParsing] OnParsing
[testapp]: [D] CMD_PWM_OUT_TEST : 02000000000000000000000000000000
[testapp]: [D] CMD_PWM_OUT_TEST : 00000000000000000000
[CPWMOutTest]: [D] [CPWMOutTest] Logger Start.
[testapp]: [D] [CUARTMgr::SendPacket] Type[0x1], Cmd[0x5], Datelen[26]
[testapp]: [D] Send Packet : 5A010500000000000000000000000000
[testapp]: [D] Send Packet : 000000000000000000000000005E03
"""


class LogTest(BoardTest):
    def test_the_lines_of_a_command_in_format_and_order(self):
        before = int(self.on_board("wc -l </var/log/syslog"))
        self.line.ask("PWM_OUT_TEST", b"\2")
        lines = self.on_board(f"tail -n +{before + 1} /var/log/syslog").splitlines()
        found = [LINE.fullmatch(line) for line in lines]
        self.assertNotIn(None, found, lines)
        self.assertEqual([f"{match[1]}: {match[2].rstrip()}" for match in found], EXPECTED.strip().splitlines())
