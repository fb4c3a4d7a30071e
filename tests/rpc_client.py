"""Drives a whole session over the control interface, as a user interface in another language would.

Usage: rpc_client.py MODULES PORT FOLDER
The bus has one ECU, and the folder one update for it; what the asserts say of both is laid down in rpc_test.cpp.
"""

import sys
import time

sys.path.insert(0, sys.argv[1])

from flintrow import FlintrowThrift
from flintrow.ttypes import ecuID, ecuInfo, ecuSoftwareID, eStates
from thrift.protocol.TBinaryProtocol import TBinaryProtocol
from thrift.transport.TSocket import TSocket
from thrift.transport.TTransport import TBufferedTransport, TTransportException

NAME = 0xA0088400FFE00001 - (1 << 64)  # a 64-bit NAME in a signed number


def wait_for(what, condition):
    for _ in range(1000):
        value = condition()
        if value:
            return value
        time.sleep(0.02)
    sys.exit(f"{what} never came")


def check_idle(service):
    status = service.GetStatus()
    assert (status.state, status.message, status.error) == (eStates.BL_IDLE, None, None), status


def check_identity(service):
    expected = ecuID(PN="A1000", Rev="", SN="4711", Location="Grün", Type="Sprayer", Manuf="Bench")
    wait_for("the identification", lambda: service.GetECUID(NAME).Manuf)
    found = service.GetECUID(NAME)
    found.Rev = ""
    assert found == expected, found
    assert service.GetECUID(1) == ecuID(), "an unknown ECU"
    software = service.GetECUSoftwareIDs(NAME)
    assert software and all(type(each) is ecuSoftwareID and type(each.SV) is str for each in software), software
    assert "1.0.0" in [each.SV for each in software], software
    assert service.GetECUSoftwareIDs(1) == []


def check_list(service, version):
    wait_for("the ECU's update", lambda: [ecu for ecu in service.GetECUList() if ecu.sUpdateVersion])
    (ecu,) = service.GetECUList()
    expected = ecuInfo(CANName=NAME, CANAddress=0x80, sECUName=ecu.sECUName, sCurrentVersion=version,
                       sUpdateVersion="2.0.0", stUpdateVersions=["2.0.0"])
    assert ecu == expected, ecu
    assert "Sprayer" in ecu.sECUName, ecu


def run_session(service):
    assert service.UpdateECUVersion(1, "2.0.0") == -3
    assert service.UpdateECUVersion(NAME, "9") == -2
    assert service.UpdateECUVersion(NAME, "2.0.0") == 0
    assert service.UpdateECUVersion(NAME, "2.0.0") == -1
    assert service.UpdateComplete() == -1
    progress = {}
    for _ in range(3000):
        status = service.GetStatus()
        progress[status.state] = status.progress
        assert 0 <= status.progress <= 100, status
        if status.state in (eStates.BL_COMPLETE_ACK, eStates.BL_FAILURE):
            break
        time.sleep(0.01)
    assert status.state == eStates.BL_COMPLETE_ACK, status
    assert eStates.BL_RESTART_PENDING in progress, progress
    assert service.UpdateComplete() == 0


def main():
    transport = TBufferedTransport(TSocket("127.0.0.1", int(sys.argv[2])))
    transport.open()
    service = FlintrowThrift.Client(TBinaryProtocol(transport))
    folder = sys.argv[3]

    check_idle(service)
    assert service.ScanDirectory(folder) == 0
    assert service.ListDirectories()[-1] == folder
    check_list(service, "1.0.0")
    check_identity(service)
    run_session(service)
    check_list(service, "2.0.0")
    check_idle(service)
    try:
        service.Shutdown()
        sys.exit("a reply to Shutdown")
    except TTransportException as end:
        assert end.type == TTransportException.END_OF_FILE, end


main()
