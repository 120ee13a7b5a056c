// Made by tools/gen_bindings/make_bindings.py from include/vekapi/VekApiC.h. Not to be edited.
// The types, constants and functions of VekApiC.h. Texts are handed in as bytes that end with NUL (VekText.Put), or by
// their address, as callbacks bring them; they come back as addresses (VekText.Get). A buffer that the library writes
// into is an array.
using System;
using System.Runtime.InteropServices;

namespace VekApi
{
    public struct CVekProperties { public IntPtr Object; }
    public struct CVekField { public IntPtr Object; }
    public struct CVekFields { public IntPtr Object; }
    public struct CVekTable { public IntPtr Object; }
    public struct CVekTaskResult { public IntPtr Object; }
    public struct CVekClient { public IntPtr Object; }
    public struct CVekFlowCtrl { public IntPtr Object; }
    public struct CVekFlowCtrlSender { public IntPtr Object; }

    /// <summary>
    /// A message with a code unknown to the library. `packet` is the whole message, header included, `length`
    /// bytes.
    /// </summary>
    public delegate void CVekOnUnknownMsgCode(ref CVekClient client, IntPtr user, int msgCode, IntPtr packet, int length);

    /// <summary>
    /// The state changed; read it with CVekClient_State. `reason` is empty if the server accepted the connect
    /// request; otherwise it gives the cause.
    /// </summary>
    public delegate void CVekOnConnect(ref CVekClient client, IntPtr user, IntPtr reason);

    /// <summary>Signed on: CVekClient_SgnResult holds the accounts, and requests may be sent.</summary>
    public delegate void CVekOnApReady(ref CVekClient client, IntPtr user);

    /// <summary>The result of a query (code 128).</summary>
    public delegate void CVekOnTaskResult(ref CVekClient client, IntPtr user, ref CVekTaskResult result);

    /// <summary>The answer to CVekClient_ChgPass. `resultText` is for display.</summary>
    public delegate void CVekOnChgPassResult(ref CVekClient client, IntPtr user, IntPtr userId, IntPtr resultText);

    /// <summary>
    /// An acknowledgement, `msgCode` 129 or 131. With 129 the text has one line per acknowledged request; pass
    /// code and text to CVekFlowCtrlSender_AckParser.
    /// </summary>
    public delegate void CVekOnRequestAck(ref CVekClient client, IntPtr user, int msgCode, IntPtr ackText);

    /// <summary>A report from the server (code 130).</summary>
    public delegate void CVekOnReport(ref CVekClient client, IntPtr user, IntPtr reportText);

    /// <summary>
    /// The client is being deleted. This is its last callback, on the thread that deletes it. The handle passed to
    /// CVekClient_Delete is already null and is not accessed again, so its memory may be freed here. `client` may
    /// be used to read the state; deleting it again does nothing.
    /// </summary>
    public delegate void CVekOnClientDestroy(ref CVekClient client, IntPtr user);

    /// <summary>
    /// The gate is open again. Runs inside CVekFlowCtrl_SetAckTime and CVekFlowCtrl_StartCheckTimer on the
    /// caller's thread, or on a timer thread, with the gate's locks held. It may call every function of this gate
    /// and send with any client. It must not connect, disconnect or delete a client, or wait for a thread that
    /// uses the gate or runs a client's callback. It may delete the gate if no other thread uses it and it was not
    /// locked with CVekFlowCtrl_Lock. `gate` is the address of a temporary handle, valid until the callback
    /// returns.
    /// </summary>
    public delegate void CVekOnFlowCtrlFree(ref CVekFlowCtrl gate, IntPtr user);

    /// <summary>
    /// Reports, since the previous call, how many held requests the link accepted (`sent`) and how many requests
    /// of any kind it refused (`refused`). Runs on the thread that created the sender. `sender` is the address of
    /// a temporary handle, valid until the callback returns. The callback may do anything.
    /// </summary>
    public delegate void CVekOnFlowCtrlSenderSent(ref CVekFlowCtrlSender sender, IntPtr user, uint sent, uint refused);

    /// <summary>
    /// Events whose entry is null are dropped. A caller in a managed language must keep the delegates behind the
    /// entries alive until the client is deleted.
    /// </summary>
    [StructLayout(LayoutKind.Sequential)]
    public struct CVekClientCallbacks
    {
        public CVekOnUnknownMsgCode OnVekUnknownMsgCodeEvent;
        public CVekOnConnect OnVekConnectEvent;
        public CVekOnApReady OnVekApReadyEvent;
        public CVekOnTaskResult OnVekTaskResultEvent;
        public CVekOnChgPassResult OnVekChgPassResultEvent;
        public CVekOnRequestAck OnVekRequestAckEvent;
        public CVekOnReport OnVekReportEvent;
        public CVekOnClientDestroy OnVekClientDestroyEvent;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct CVekFlowCtrlCallbacks
    {
        public CVekOnFlowCtrlFree OnVekFlowCtrlFree;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct CVekFlowCtrlSenderCallbacks
    {
        public CVekOnFlowCtrlSenderSent OnVekFlowCtrlSenderSent;
    }

    public static partial class Vek
    {
        private const string Library = "vekapi";

        /// <summary>the table does not say</summary>
        public const int cvam_None = 0;
        /// <summary>domestic securities</summary>
        public const int cvam_Stock = 1;
        /// <summary>domestic futures and options</summary>
        public const int cvam_Futures = 2;
        /// <summary>foreign futures and options</summary>
        public const int cvam_ForeignFutures = 3;
        /// <summary>foreign securities</summary>
        public const int cvam_ForeignStock = 4;

        /// <summary>no data from the server for a heartbeat period; the link stays open</summary>
        public const int cvcs_HeartbeatTimeout = -7;
        /// <summary>the server refused the connect request</summary>
        public const int cvcs_ConnectError = -6;
        /// <summary>the server refused the sign-on; the link stays open for a password change</summary>
        public const int cvcs_SgnError = -5;
        /// <summary>the server did not answer the connect request</summary>
        public const int cvcs_UnknownServer = -4;
        /// <summary>the link broke, or received bytes were not valid packets</summary>
        public const int cvcs_LinkBroken = -3;
        /// <summary>the link could not be opened</summary>
        public const int cvcs_LinkError = -2;
        /// <summary>after CVekClient_Disconnect</summary>
        public const int cvcs_Disconnected = -1;
        /// <summary>new client</summary>
        public const int cvcs_None = 0;
        /// <summary>the link is being opened</summary>
        public const int cvcs_Connecting = 1;
        /// <summary>connect request accepted, sign-on sent</summary>
        public const int cvcs_Connected = 2;
        /// <summary>signed on; requests may be sent</summary>
        public const int cvcs_ApReady = 3;

        /// <summary>a query and its result; limited to the query rate given at sign-on</summary>
        public const int cvmc_TaskResult = 128;
        /// <summary>a request and its acknowledgement</summary>
        public const int cvmc_RequestAck = 129;
        /// <summary>a report, sent by the server only</summary>
        public const int cvmc_Report = 130;
        /// <summary>a second kind of acknowledgement</summary>
        public const int cvmc_RequestAck2 = 131;

        /// <summary>a text of the server or the operating system, or none</summary>
        public const int cvre_Other = 0;
        /// <summary>CVekClient_Disconnect was called</summary>
        public const int cvre_Disconnect = 1;
        /// <summary>with cvcs_HeartbeatTimeout</summary>
        public const int cvre_HeartbeatTimeout = 2;
        /// <summary>with cvcs_UnknownServer</summary>
        public const int cvre_UnknownServer = 3;
        /// <summary>with cvcs_LinkBroken: received bytes are not valid packets</summary>
        public const int cvre_BadPacketLength = 4;
        /// <summary>with cvcs_LinkBroken: a message exceeded the size limit</summary>
        public const int cvre_LongMessage = 5;
        /// <summary>with cvcs_LinkError: invalid setting</summary>
        public const int cvre_BadSetting = 6;
        /// <summary>with cvcs_LinkError: the application name is too long</summary>
        public const int cvre_BadApName = 7;
        /// <summary>with cvcs_SgnError: identity and password together are too long</summary>
        public const int cvre_SignOnTooLong = 8;
        /// <summary>from CVekClient_ChgPass: its texts together are too long</summary>
        public const int cvre_ChgPassTooLong = 9;
        /// <summary>with cvcs_LinkError: the link did not open in time</summary>
        public const int cvre_ConnectTimeout = 10;
        /// <summary>with cvcs_LinkBroken: no answer to the sign-on in time</summary>
        public const int cvre_SignOnTimeout = 11;
        /// <summary>with cvcs_LinkError or cvcs_LinkBroken</summary>
        public const int cvre_NoMemory = 12;

        /// <summary>The library's version, such as "0.1.0". The text is valid until the library is unloaded.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekApi_Version();

        /// <summary>
        /// Returns a new automation string with the bytes of `text` up to its NUL, unconverted. The caller frees it
        /// with CVekApi_FreeBSTR. Null if `text` is null or there is no memory.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CstrToBSTR(byte[] text);

        /// <summary>
        /// Returns a new automation string with the bytes of `text` up to its NUL, unconverted. The caller frees it
        /// with CVekApi_FreeBSTR. Null if `text` is null or there is no memory.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CstrToBSTR(IntPtr text);

        /// <summary>Frees a string returned by CstrToBSTR or by a function ending in _B. Does nothing for null.</summary>
        [DllImport(Library)]
        public static extern void CVekApi_FreeBSTR(IntPtr text);

        /// <summary>The value of `key`, or null if there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get(ref CVekProperties properties, byte[] key);

        /// <summary>The value of `key`, or null if there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get(ref CVekProperties properties, IntPtr key);

        /// <summary>The value of `key`, or null if there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get_B(ref CVekProperties properties, byte[] key);

        /// <summary>The value of `key`, or null if there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get_B(ref CVekProperties properties, IntPtr key);

        /// <summary>The name of the table or column; "" if it has none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Name(ref CVekProperties properties);

        /// <summary>The name of the table or column; "" if it has none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Name_B(ref CVekProperties properties);

        /// <summary>The text to show to users: the value of "DisplayText", or the name if there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_DisplayText(ref CVekProperties properties);

        /// <summary>The text to show to users: the value of "DisplayText", or the name if there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_DisplayText_B(ref CVekProperties properties);

        /// <summary>The value of "Description", or the display text if there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Description(ref CVekProperties properties);

        /// <summary>The value of "Description", or the display text if there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Description_B(ref CVekProperties properties);

        /// <summary>The pairs, without the name, in arrival order: 0x01 KEY "=" VALUE for each.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_ToString(ref CVekProperties properties);

        /// <summary>The pairs, without the name, in arrival order: 0x01 KEY "=" VALUE for each.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_ToString_B(ref CVekProperties properties);

        /// <summary>The column's name and attributes.</summary>
        [DllImport(Library)]
        public static extern CVekProperties CVekField_Properties(ref CVekField field);

        /// <summary>Position in the table, counted from 0; -1 for a null handle.</summary>
        [DllImport(Library)]
        public static extern int CVekField_Index(ref CVekField field);

        /// <summary>A column by name, or by index counted from 0. Null handle if there is no such column.</summary>
        [DllImport(Library)]
        public static extern CVekField CVekFields_NameField(ref CVekFields fields, byte[] name);

        /// <summary>A column by name, or by index counted from 0. Null handle if there is no such column.</summary>
        [DllImport(Library)]
        public static extern CVekField CVekFields_NameField(ref CVekFields fields, IntPtr name);

        /// <summary>A column by name, or by index counted from 0. Null handle if there is no such column.</summary>
        [DllImport(Library)]
        public static extern CVekField CVekFields_IndexField(ref CVekFields fields, int index);

        /// <summary>Number of columns.</summary>
        [DllImport(Library)]
        public static extern int CVekFields_Count(ref CVekFields fields);

        /// <summary>The table's name and attributes.</summary>
        [DllImport(Library)]
        public static extern CVekProperties CVekTable_Properties(ref CVekTable table);

        /// <summary>The columns, in table order.</summary>
        [DllImport(Library)]
        public static extern CVekFields CVekTable_Fields(ref CVekTable table);

        /// <summary>Number of records.</summary>
        [DllImport(Library)]
        public static extern int CVekTable_RecordsCount(ref CVekTable table);

        /// <summary>
        /// The value of one column of one record; "" if the record has no value for it. `row` and `col` count from 0.
        /// Null if there is no such record or column.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordIndexField(ref CVekTable table, int row, int col);

        /// <summary>
        /// The value of one column of one record; "" if the record has no value for it. `row` and `col` count from 0.
        /// Null if there is no such record or column.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordIndexField_B(ref CVekTable table, int row, int col);

        /// <summary>As CVekTable_RecordIndexField, with the column given by its handle. Null for a null column.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordField(ref CVekTable table, int row, ref CVekField field);

        /// <summary>As CVekTable_RecordIndexField, with the column given by its handle. Null for a null column.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordField_B(ref CVekTable table, int row, ref CVekField field);

        /// <summary>The number in the table's "mkt" attribute: cvam_..., or another value if the server sent one.</summary>
        [DllImport(Library)]
        public static extern int CVekTable_MktFlag(ref CVekTable table);

        /// <summary>The id that matches this answer to its request.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_WorkID(ref CVekTaskResult result);

        /// <summary>The id that matches this answer to its request.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_WorkID_B(ref CVekTaskResult result);

        /// <summary>The text that the tables were read from, as far as its first NUL.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_OrigResult(ref CVekTaskResult result);

        /// <summary>The text that the tables were read from, as far as its first NUL.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_OrigResult_B(ref CVekTaskResult result);

        /// <summary>A table by name, or by index counted from 0, in arrival order. Null handle if there is no such table.</summary>
        [DllImport(Library)]
        public static extern CVekTable CVekTaskResult_NameTable(ref CVekTaskResult result, byte[] name);

        /// <summary>A table by name, or by index counted from 0, in arrival order. Null handle if there is no such table.</summary>
        [DllImport(Library)]
        public static extern CVekTable CVekTaskResult_NameTable(ref CVekTaskResult result, IntPtr name);

        /// <summary>A table by name, or by index counted from 0, in arrival order. Null handle if there is no such table.</summary>
        [DllImport(Library)]
        public static extern CVekTable CVekTaskResult_IndexTable(ref CVekTaskResult result, uint index);

        [DllImport(Library)]
        public static extern uint CVekTaskResult_TableCount(ref CVekTaskResult result);

        /// <summary>The cvre_... value of a reason text, compared as a whole. cvre_Other for null and for unknown texts.</summary>
        [DllImport(Library)]
        public static extern int CVekApi_ReasonOf(byte[] reason);

        /// <summary>The cvre_... value of a reason text, compared as a whole. cvre_Other for null and for unknown texts.</summary>
        [DllImport(Library)]
        public static extern int CVekApi_ReasonOf(IntPtr reason);

        /// <summary>
        /// Returns a new client, owned by the caller. The table is copied; a null table has null entries only. `user`
        /// is passed to the callbacks and otherwise not used.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekClient CVekClient_Create(ref CVekClientCallbacks callbacks, IntPtr user);

        /// <summary>
        /// Calls OnVekClientDestroyEvent, closes the session and frees the client. The handle becomes null before that
        /// callback. Waits for a callback running on another thread; a waiting thread keeps answering messages sent to
        /// its windows. No callback follows, unless the call was made inside one. Must not overlap with any other
        /// function on that client.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekClient_Delete(ref CVekClient client);

        /// <summary>The client's cvcs_... state.</summary>
        [DllImport(Library)]
        public static extern int CVekClient_State(ref CVekClient client);

        /// <summary>True at cvcs_Connected, cvcs_ApReady and cvcs_SgnError.</summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_IsSessionConnected(ref CVekClient client);

        /// <summary>
        /// Closes any earlier session and opens a new one. Returns true if the attempt was started; its outcome
        /// arrives as callbacks. An invalid setting calls OnVekConnectEvent in state cvcs_LinkError before the
        /// function returns. Returns false and does nothing if a text other than the password is null; a null password
        /// is empty.
        ///
        /// `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS" (docs/settings.md). `apVersion` is four numbers,
        /// such as "1.2.3.4". `id1` and `id2` are joined by "/" into the user identity. Identity and password are
        /// limited to 255 bytes each. Must not overlap with _Connect, _Disconnect or _Delete of the same client on
        /// another thread.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_Connect(ref CVekClient client, byte[] setting, byte[] apName, byte[] apVersion, byte[] id1, byte[] id2, byte[] password);

        /// <summary>
        /// Closes any earlier session and opens a new one. Returns true if the attempt was started; its outcome
        /// arrives as callbacks. An invalid setting calls OnVekConnectEvent in state cvcs_LinkError before the
        /// function returns. Returns false and does nothing if a text other than the password is null; a null password
        /// is empty.
        ///
        /// `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS" (docs/settings.md). `apVersion` is four numbers,
        /// such as "1.2.3.4". `id1` and `id2` are joined by "/" into the user identity. Identity and password are
        /// limited to 255 bytes each. Must not overlap with _Connect, _Disconnect or _Delete of the same client on
        /// another thread.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_Connect(ref CVekClient client, IntPtr setting, IntPtr apName, IntPtr apVersion, IntPtr id1, IntPtr id2, IntPtr password);

        /// <summary>
        /// Closes the session and calls OnVekConnectEvent with "Disconnect()" in state cvcs_Disconnected. No callback
        /// of that session follows.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekClient_Disconnect(ref CVekClient client);

        /// <summary>
        /// The result that ended the last sign-on; empty before the first one.
        ///
        /// For a client on a message loop: inside its callbacks, the result that was current at that event, valid
        /// until the callback returns; outside, the latest result, valid until this function or CVekClient_ServerName
        /// is next called for that client outside its callbacks. For other clients: valid as long as the client lives,
        /// but the next sign-on replaces its content, so read it inside callbacks or while no sign-on can be in
        /// progress.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekTaskResult CVekClient_SgnResult(ref CVekClient client);

        /// <summary>
        /// Name and version of the server, such as "GW.2.0.1.15"; "" while not connected, null for a null handle.
        /// Called inside a callback, the text is valid until the callback returns; otherwise the rules of
        /// CVekClient_SgnResult apply.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CVekClient_ServerName(ref CVekClient client);

        /// <summary>
        /// Asks the server to change a password; the answer arrives as OnVekChgPassResultEvent. Returns false if not
        /// connected, if the link refused the request, if the texts exceed 4091 bytes together (the event then says
        /// so), or if `user` is null. Null passwords are empty. Each text is limited to 255 bytes.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_ChgPass(ref CVekClient client, byte[] user, byte[] oldPassword, byte[] newPassword);

        /// <summary>
        /// Asks the server to change a password; the answer arrives as OnVekChgPassResultEvent. Returns false if not
        /// connected, if the link refused the request, if the texts exceed 4091 bytes together (the event then says
        /// so), or if `user` is null. Null passwords are empty. Each text is limited to 255 bytes.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_ChgPass(ref CVekClient client, IntPtr user, IntPtr oldPassword, IntPtr newPassword);

        /// <summary>
        /// Scrambles a complete packet of `length` bytes in place, from the fourth byte on, if the session uses
        /// scrambling.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekClient_EncPacket(ref CVekClient client, byte[] packet, int length);

        /// <summary>
        /// Sends a complete packet of `length` bytes, header included. Returns true if the link accepted it. The
        /// buffer is scrambled in place.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_SendPk(ref CVekClient client, byte[] packet, int length);

        /// <summary>
        /// Sends a request. The buffer starts with five bytes reserved for the library, followed by the text; `length`
        /// counts both and is at least 6. The buffer is modified. Returns true if the link accepted the whole request,
        /// false if nothing was sent. A query (code 128) also returns false when the query rate given at sign-on is
        /// used up; the buffer is then unmodified and may be sent again later.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_SendVekRequest(ref CVekClient client, int msgCode, byte[] buffer, uint length);

        /// <summary>
        /// Sends a query (cvmc_TaskResult) and reports how long to wait: 0 if sent; a positive number of milliseconds
        /// until the query rate allows it (buffer unmodified); -1 if it was not sent and waiting will not help.
        /// </summary>
        [DllImport(Library)]
        public static extern int CVekClient_SendVekQueryRequest(ref CVekClient client, byte[] buffer, uint length);

        /// <summary>
        /// Returns a new gate, owned by the caller. Until configured, it is open. The table is copied; a null table
        /// has a null entry.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekFlowCtrl CVekFlowCtrl_Create(ref CVekFlowCtrlCallbacks callbacks, IntPtr user);

        /// <summary>
        /// As CVekFlowCtrl_Create, with the callback on the calling thread, when that thread runs its message loop
        /// (see "Message loop" below), and without locks held. The callback may do anything, including connecting,
        /// disconnecting and deleting clients and deleting the gate. Null handle if the thread cannot have a window or
        /// there is no memory.
        ///
        /// Several openings before the callback runs count as one. Another thread may have used the free slot by then:
        /// a callback that finds the gate closed (CVekFlowCtrl_CheckFlowCtrl) calls CVekFlowCtrl_StartCheckTimer
        /// again.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekFlowCtrl CVekFlowCtrl_Create_OnMessageLoop(ref CVekFlowCtrlCallbacks callbacks, IntPtr user);

        /// <summary>
        /// Deletes the gate. Waits for a callback running on another thread; none follows. No other thread may use the
        /// gate any more or hold its lock.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Delete(ref CVekFlowCtrl gate);

        /// <summary>True if a rate is set.</summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekFlowCtrl_IsFlowCfg(ref CVekFlowCtrl gate);

        /// <summary>Removes the rate and forgets past requests. A waiting gate calls OnVekFlowCtrlFree soon.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Clear(ref CVekFlowCtrl gate);

        /// <summary>
        /// Sets the rate: `count` requests within any `ms` milliseconds. Forgets past requests. If either value is
        /// below 1, same as CVekFlowCtrl_Clear. Call it again when a new session is ready: requests sent over an ended
        /// link are never acknowledged and would keep their slots.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_SetFlowCtrl(ref CVekFlowCtrl gate, int count, int ms);

        /// <summary>Records that `n` requests were acknowledged. May call OnVekFlowCtrlFree.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_SetAckTime(ref CVekFlowCtrl gate, uint n);

        /// <summary>
        /// Asks to send one request now. 0: allowed, and counted as sent (also for a null handle). Positive: not now;
        /// ask again after that many milliseconds. Negative: not before an acknowledgement arrives.
        /// </summary>
        [DllImport(Library)]
        public static extern int CVekFlowCtrl_CheckFlowCtrl(ref CVekFlowCtrl gate);

        /// <summary>
        /// Sleeps for `ms` milliseconds on the calling thread; for 1 ms if `ms` is above 0x7FFFFFFF, as a negative
        /// result of CVekFlowCtrl_CheckFlowCtrl is.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Sleep(uint ms);

        /// <summary>Calls OnVekFlowCtrlFree when a request may be sent: immediately or later. Does nothing if no rate is set.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_StartCheckTimer(ref CVekFlowCtrl gate);

        /// <summary>
        /// Locks and unlocks the gate's user lock. It is recursive: unlock as often as locked. While holding it, a
        /// thread must not connect, disconnect or delete a client.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Lock(ref CVekFlowCtrl gate);

        /// <summary>
        /// Locks and unlocks the gate's user lock. It is recursive: unlock as often as locked. While holding it, a
        /// thread must not connect, disconnect or delete a client.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Unlock(ref CVekFlowCtrl gate);

        /// <summary>
        /// Returns a new sender, owned by the caller. It may outlive the client; all requests are then refused. Until
        /// a rate is set, requests are sent immediately.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekFlowCtrlSender CVekFlowCtrlSender_Create(ref CVekClient client);

        /// <summary>
        /// As CVekFlowCtrlSender_Create, with a callback on the calling thread when that thread runs its message loop.
        /// Held requests are sent when the rate allows, whether or not the thread runs its loop. Null handle if the
        /// thread cannot have a window or there is no memory.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekFlowCtrlSender CVekFlowCtrlSender_Create_OnMessageLoop(ref CVekClient client, ref CVekFlowCtrlSenderCallbacks callbacks, IntPtr user);

        /// <summary>Drops the held requests without sending them; otherwise as CVekFlowCtrl_Delete.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_Delete(ref CVekFlowCtrlSender sender);

        /// <summary>As CVekFlowCtrl_SetFlowCtrl.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_SetFlowCtrl(ref CVekFlowCtrlSender sender, int count, int ms);

        /// <summary>1 if a rate is set, else 0. An int, unlike CVekFlowCtrl_IsFlowCfg.</summary>
        [DllImport(Library)]
        public static extern int CVekFlowCtrlSender_IsFlowCfg(ref CVekFlowCtrlSender sender);

        /// <summary>Number of held requests.</summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_PendingCount(ref CVekFlowCtrlSender sender);

        /// <summary>Sends the held requests that the rate allows now; the rest follow by timer.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_CheckPending(ref CVekFlowCtrlSender sender);

        /// <summary>Drops the held requests and returns their number. They were not sent and will not be.</summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_DropPending(ref CVekFlowCtrlSender sender);

        /// <summary>
        /// Removes the oldest held request without sending it: copies its text into `buffer`, which has space for
        /// `size` bytes, without a terminating NUL. Returns the text's length, or 0 if nothing is held. A text longer
        /// than `size` stays held; its length is returned and nothing is copied.
        /// </summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_TakePending(ref CVekFlowCtrlSender sender, byte[] buffer, uint size);

        /// <summary>
        /// Number of requests that the link refused since the sender was created: not sent and not held. Causes: no
        /// session, a full send queue, no memory.
        /// </summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_RefusedCount(ref CVekFlowCtrlSender sender);

        /// <summary>
        /// Call it with the arguments of OnVekRequestAckEvent. Counts the acknowledged requests of code 129; may send
        /// held ones. Other codes and a null text are ignored.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_AckParser(ref CVekFlowCtrlSender sender, int code, byte[] text);

        /// <summary>
        /// Call it with the arguments of OnVekRequestAckEvent. Counts the acknowledged requests of code 129; may send
        /// held ones. Other codes and a null text are ignored.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_AckParser(ref CVekFlowCtrlSender sender, int code, IntPtr text);

        /// <summary>Records that `n` requests were acknowledged; may send held ones. The second argument is ignored.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_SetAckTime(ref CVekFlowCtrlSender sender, int ignored, uint n);

        /// <summary>
        /// Sends or holds one request: five bytes reserved for the library, then the text; `length` counts both. The
        /// buffer is modified. Returns true if nothing is held after the call; false if a request is held, or if
        /// `length` is below 6 (the request is dropped).
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekFlowCtrlSender_SendVekRequest(ref CVekFlowCtrlSender sender, byte[] buffer, uint length);

        /// <summary>
        /// Sends or holds several requests: five bytes reserved for the library, then pairs of lines separated by line
        /// feeds. A last line without a partner is dropped. Returns how many were sent now; the others are held. The
        /// buffer is modified.
        /// </summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_SendVekRequests(ref CVekFlowCtrlSender sender, byte[] buffer, uint length);

        /// <summary>
        /// As CVekClient_Create, with all callbacks on the calling thread, when that thread runs its message loop.
        /// Null handle if the thread cannot have a window or there is no memory.
        ///
        /// The loop. On Windows any loop of GetMessage and DispatchMessage, including modal ones (message box, menu,
        /// dragging). On both systems CVekMessageLoop_Dispatch may be used instead.
        ///
        /// Order. Callbacks run one at a time in wire order, later than the event. Events from before a
        /// CVekClient_Connect or CVekClient_Disconnect, and the events of these calls themselves, are delivered after
        /// the call has returned. Inside a callback, on its thread, CVekClient_State, _IsSessionConnected, _SgnResult
        /// and _ServerName return the values at the time of the event; outside callbacks and on other threads, the
        /// current values.
        ///
        /// Batches. One message delivers at most 10 ms' worth of events or a thousand of them. The rest follows after
        /// the thread's other work: other clients, input, painting, timers.
        ///
        /// Waiting. Task results and password results are borrowed, so the session waits until their callback has
        /// returned; meanwhile nothing else of that session arrives. The thread delivers these two events, and those
        /// queued before them, also while it waits inside a function of this library. Callbacks may therefore run
        /// inside any call that connects, disconnects or deletes. The thread must not wait for the session in any
        /// other way.
        ///
        /// Inside a callback the thread may do anything: connect, disconnect, delete, run a nested loop (a message
        /// box). Other callbacks may or may not run inside that nested loop, so it must not wait for them. After
        /// deletion only OnVekClientDestroyEvent is called, by CVekClient_Delete itself on its own thread before it
        /// returns; queued events are dropped.
        ///
        /// CVekClient_Delete should be called on the creating thread. Another thread may call it outside callbacks; it
        /// then waits for the creating thread to run its loop or to end. A client whose thread has ended gets no
        /// callbacks except the last, and queues nothing; it must still be deleted.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekClient CVekClient_Create_OnMessageLoop(ref CVekClientCallbacks callbacks, IntPtr user);

        /// <summary>
        /// Delivers the messages waiting for the calling thread, at most a thousand and none that arrive meanwhile,
        /// and returns their number. If there are none, waits up to `timeoutMs` milliseconds (0: does not wait;
        /// negative: no limit) and returns 0 on timeout. Returns a negative value on error, and on Windows also if
        /// WM_QUIT is queued (it stays in the queue). On Windows it serves all windows of the thread. May be called
        /// inside a callback.
        /// </summary>
        [DllImport(Library)]
        public static extern int CVekMessageLoop_Dispatch(int timeoutMs);

        /// <summary>
        /// For event loops that watch descriptors (poll, epoll, GLib, Qt, asyncio): a descriptor that is readable
        /// while messages wait for the calling thread; then call CVekMessageLoop_Dispatch(0). Owned by the library and
        /// valid for the thread's lifetime; do not read or close it. -1 on error, and on Windows, where the thread's
        /// message loop serves everything.
        /// </summary>
        [DllImport(Library)]
        public static extern int CVekMessageLoop_Fd();
    }
}
