/**
 * The control interface of the update service: what a user interface on the same terminal calls.
 *
 * Binary protocol over a buffered transport. The server listens on 127.0.0.1, TCP port 9091 unless the settings name
 * another. Nothing is reported unasked: a client polls. A session goes like this:
 * ScanDirectory for each folder of update files, GetECUList, UpdateECU or UpdateECUVersion, GetStatus until the
 * state is BL_FAILURE or BL_COMPLETE_ACK, then UpdateComplete.
 *
 * Polling: GetStatus 2 to 5 times a second during a session, GetECUList every few seconds.
 *
 * The i32 results: 0 done, or started; -1 refused: a session is running, waits for its acknowledgement, or looks for
 * the ECU of a file from the command line; -2 no update for the ECU, or the update could not start: its file is
 * damaged or has changed since the scan, the version is a package where images fit as well, or another update is just
 * being started; -3 no such ECU in the visible list.
 *
 * What ends and what lasts: when an ECU refuses a step of its session, the service ends. The connection breaks, and
 * the service has to be started again. Nothing survives that but the settings: scan the folders again, and list,
 * before the next update. The start-up folder /usr/local/src/bitstreams/isonode is scanned at each start (not with a
 * file from the command line), and so stands in ListDirectories.
 *
 * A session cannot be cancelled. Most of its waits end by themselves: for the bootloader after 10 s, for an answer of
 * the ECU after 31 to 34 s, for its return after 15 s (60 s over a wireless node), for a node that stops reading an
 * upload after 11 s, for one that says nothing after it after 10 minutes. An ECU that is busy and an installation that
 * the node does not report as over are waited for without limit; only the end of the service, by a signal, ends that.
 *
 * Blocking and time-outs: ScanDirectory answers when all files are read, and scans wait for each other. UpdateECU and
 * UpdateECUVersion read the whole image. Both may take minutes: allow 300 s. A connection that is broken off does not
 * end what its call has begun. So never call from the thread that draws; poll the status on a second connection.
 *
 * Threads and connections: each connection has a thread in the service, which does one call after the other. A client
 * object is for one thread. Beyond 256 connections a caller waits until another one ends. A service that was started
 * again has broken all connections: connect anew. Clients of the C++ library do so now and then in any case, as its
 * limit for the size of a message counts all that a connection has brought.
 */
namespace * flintrow

/**
 * What the session does. A change of the bit rate, and the search for the ECU of a file from the command line, are
 * reported as BL_IDLE. Over the bus: BL_START, BL_BOOTLOADER_PENDING, BL_BOOTLOADER, BL_ERASING, BL_PROGRAMMING,
 * BL_READ_CHECKSUM, BL_RESTART, BL_RESTART_PENDING. Over a wireless node: BL_START, BL_BOOTLOADER, BL_TRANSFERRING,
 * BL_PROGRAMMING, BL_RESTART, BL_RESTART_PENDING. At the end of both BL_COMPLETE and BL_COMPLETE_ACK, or BL_FAILURE.
 * BL_COMPLETE is soon over: wait for BL_COMPLETE_ACK. BL_PARSING is never reported.
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
    /**
     * Percent of the running step in BL_ERASING, BL_PROGRAMMING and BL_TRANSFERRING. In BL_RESTART_PENDING the share
     * of the waiting time that has passed: at 100 the service gives up. In other states a left-over.
     */
    2: optional i32 progress
    /** Never set. */
    3: optional string message
    /**
     * Why the session failed; set in BL_COMPLETE, where it is 0, and in BL_FAILURE. 2: the ECU did not answer in
     * time, did ten times not send its checksum or not begin its restart, its checksum had a wrong length, the bit
     * rate could not be changed, or the file from the command line is no update file. 4: the wireless node did not begin or finish the installation. 11: the ECU did not come back.
     * 23: no image. 27: no thread for the upload or the installation. 30: no connection to the node. 31, 32: the
     * package cannot be looked at, or opened. 33: no package. 34: the upload was broken off or refused. 36: the node's
     * host name cannot be resolved.
     */
    4: optional i32 error
}

/** One ECU of the list. Texts are UTF-8, and may hold control characters: they come from the bus and from files. */
struct ecuInfo {
    /** The 64-bit NAME [ISO 11783-5 4.3]; mostly negative, and larger than a number of JavaScript holds. */
    1: required i64 CANName
    /** The source address. */
    2: required i32 CANAddress
    /**
     * The name for people, not unique: the address in decimal until the ECU has identified itself, then at most 13
     * bytes of its type and serial number.
     */
    3: optional string sECUName
    /** The version that is installed; empty until it is told. */
    4: optional string sCurrentVersion
    /**
     * The preferred update: the newest version among images and packages that fit; empty when none fits. It may be the
     * installed one or an older one, and a package that cannot be started as images fit as well: then choose another
     * one of the list below.
     *
     * Newest: what stands before the first digit of a version is left out. The rest is compared piece by piece,
     * numbers by their value and above letters, as package managers do: 1.10 is newer than 1.9. A version without a
     * digit is older than any other.
     */
    5: optional string sUpdateVersion
    /** All versions on offer, those of images first. When there is an image, no package can be started. */
    6: optional list<string> stUpdateVersions
}

/** The ECU identification [ISO 11783-12, PGN 64965]. A field is empty until it is told, and "-" when left empty. */
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
    /** Starts a session with the preferred update when that is an image; else -2. */
    i32 UpdateECU(1: i64 CANAddr)
    /** Starts a session with the image, or where no image fits the package, of this version. */
    i32 UpdateECUVersion(1: i64 CANAddr, 2: string sVersion)
    /** Acknowledges the result of a finished session; the service is idle again. -1 without one. */
    i32 UpdateComplete()
    /**
     * Looks for new and changed update files in a folder and all below it, but not at symbolic links and names that
     * begin with "."; 0 also when it cannot be opened. A relative path starts in the service's working folder.
     */
    i32 ScanDirectory(1: string sPath)
    /** The folders scanned since the start. */
    list<string> ListDirectories()
    /** Forgets all ECUs and asks the bus anew who is there; the list fills again within seconds. */
    i32 ClearECUList()
    /**
     * The ECUs that have told of a bootloader, those included that have left the bus since the last ClearECUList.
     * Chooses the updates that fit. Call it after every ScanDirectory: until then UpdateECU and UpdateECUVersion know
     * only what the last GetECUList told.
     */
    list<ecuInfo> GetECUList()
    /** Empty for an unknown ECU. */
    list<ecuSoftwareID> GetECUSoftwareIDs(1: i64 CANAddr)
    /** Empty for an unknown ECU. */
    ecuID GetECUID(1: i64 CANAddr)
    /** Ends the service at once, without a reply. Refused with -1 as the others are, before the acknowledgement too. */
    i32 Shutdown()
}
