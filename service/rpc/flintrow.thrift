/**
 * The control interface of the update service: what a user interface on the same terminal calls.
 *
 * Binary protocol over a buffered transport. The server listens on 127.0.0.1, TCP port 9091 unless the settings name
 * another. Nothing is reported unasked: a client polls. A session goes like this:
 * ScanDirectory for each folder of update files, GetECUList, UpdateECU or UpdateECUVersion, GetStatus until the
 * state is BL_FAILURE or BL_COMPLETE_ACK, then UpdateComplete.
 *
 * The i32 results: 0 done, or started; -1 refused: a session is running, waits for its acknowledgement, or looks for
 * its ECU; -2 no update for the ECU, or the update could not start; -3 no such ECU in the visible list.
 *
 * When an ECU refuses a step of its session, the service ends: the connection breaks, and the service has to be
 * started again.
 */
namespace * flintrow

/**
 * What the session does. A change of the bit rate, and the search for the ECU of a file from the command line, are
 * reported as BL_IDLE. Over the bus: BL_START, BL_BOOTLOADER_PENDING, BL_BOOTLOADER, BL_ERASING, BL_PROGRAMMING,
 * BL_READ_CHECKSUM, BL_RESTART, BL_RESTART_PENDING. Over a wireless node: BL_START, BL_BOOTLOADER, BL_TRANSFERRING,
 * BL_PROGRAMMING, BL_RESTART, BL_RESTART_PENDING. At the end of both BL_COMPLETE and BL_COMPLETE_ACK, or BL_FAILURE.
 */
enum eStates {
    BL_IDLE = 0,
    BL_START = 1,
    BL_BOOTLOADER_PENDING = 2,
    BL_BOOTLOADER = 3,
    BL_PARSING = 4,
    BL_ERASING = 5,
    BL_PROGRAMMING = 6,
    BL_RESTART = 7,
    BL_READ_CHECKSUM = 8,
    BL_COMPLETE = 9,
    BL_FAILURE = 10,
    BL_COMPLETE_ACK = 11,
    BL_RESTART_PENDING = 12,
    BL_TRANSFERRING = 13
}

/** One status report. */
struct stInfo {
    1: required eStates state
    /** Percent of the running step; in BL_RESTART_PENDING of the time that is left to the ECU. */
    2: optional i32 progress
    /** Never set. */
    3: optional string message
    /**
     * Why the session failed; set in BL_COMPLETE, where it is 0, and in BL_FAILURE. 2: the ECU did not answer in
     * time, or its checksum had a wrong length. 4: the wireless node did not finish the installation. 11: the ECU did
     * not come back. 23: no image. 27: no thread for the upload or the installation. 30: no connection to the node.
     * 31, 32: the package cannot be looked at, or opened. 33: no package. 34: the upload was broken off or refused.
     * 36: the node's host name cannot be resolved.
     */
    4: optional i32 error
}

/** One ECU of the list. */
struct ecuInfo {
    /** The 64-bit NAME [ISO 11783-5 4.3]. */
    1: required i64 CANName
    /** The source address. */
    2: required i32 CANAddress
    /** The name for people. */
    3: optional string sECUName
    /** The version that is installed. */
    4: optional string sCurrentVersion
    /** The version of the preferred update, the newest that fits, installed or not; empty when none fits. */
    5: optional string sUpdateVersion
    /** All versions on offer, those of images first. When there is an image, no package can be started. */
    6: optional list<string> stUpdateVersions
}

/** The ECU identification [ISO 11783-12, PGN 64965]. */
struct ecuID {
    /** Part number. */
    1: optional string PN
    /** Revision; always empty. */
    2: optional string Rev
    /** Serial number. */
    3: optional string SN
    4: optional string Location
    5: optional string Type
    /** Manufacturer. */
    6: optional string Manuf
}

/** One field of the software identification [ISO 11783-12, PGN 65242]. */
struct ecuSoftwareID {
    /** Label. */
    1: optional string SSL
    /** Part number. */
    2: optional string SPN
    /** Version. */
    3: optional string SV
}

/** CANAddr is the 64-bit NAME, the CANName of ecuInfo: an address can change. */
service FlintrowThrift {
    /** What the session does; answers in any state, as do the lists. */
    stInfo GetStatus()
    /** Starts a session with the preferred update. An ECU with packages for wireless nodes only gets -2. */
    i32 UpdateECU(1: i64 CANAddr)
    /** Starts a session with the update of this version. */
    i32 UpdateECUVersion(1: i64 CANAddr, 2: string sVersion)
    /** Acknowledges the result of a finished session; the service is idle again. -1 without one. */
    i32 UpdateComplete()
    /** Looks for new and changed update files in a folder and all below it; 0 also when it cannot be opened. */
    i32 ScanDirectory(1: string sPath)
    /** The folders scanned so far. */
    list<string> ListDirectories()
    /** Forgets all ECUs and asks the bus anew who is there. */
    i32 ClearECUList()
    list<ecuInfo> GetECUList()
    /** Empty for an unknown ECU. */
    list<ecuSoftwareID> GetECUSoftwareIDs(1: i64 CANAddr)
    /** Empty for an unknown ECU. */
    ecuID GetECUID(1: i64 CANAddr)
    /** Ends the service at once, without a reply. -1 while a session is running. */
    i32 Shutdown()
}
