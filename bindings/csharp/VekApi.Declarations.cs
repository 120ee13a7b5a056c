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

    /// <summary>A message of a code that the library does not know: the whole message, header included, of `length` bytes.</summary>
    public delegate void CVekOnUnknownMsgCode(ref CVekClient client, IntPtr user, int msgCode, IntPtr packet, int length);

    /// <summary>
    /// The state changed: read it with CVekClient_State. `reason` is empty when the server accepted the connect
    /// request, else says why.
    /// </summary>
    public delegate void CVekOnConnect(ref CVekClient client, IntPtr user, IntPtr reason);

    /// <summary>Signed on: CVekClient_SgnResult holds the accounts, requests may be sent.</summary>
    public delegate void CVekOnApReady(ref CVekClient client, IntPtr user);

    /// <summary>The answer to a request of code 128.</summary>
    public delegate void CVekOnTaskResult(ref CVekClient client, IntPtr user, ref CVekTaskResult result);

    /// <summary>The answer to CVekClient_ChgPass: `resultText` is for people.</summary>
    public delegate void CVekOnChgPassResult(ref CVekClient client, IntPtr user, IntPtr userId, IntPtr resultText);

    /// <summary>
    /// An acknowledgement of code 129 or 131; with 129 a line for each acknowledged request, to be handed to
    /// CVekFlowCtrlSender_AckParser.
    /// </summary>
    public delegate void CVekOnRequestAck(ref CVekClient client, IntPtr user, int msgCode, IntPtr ackText);

    public delegate void CVekOnReport(ref CVekClient client, IntPtr user, IntPtr reportText);

    /// <summary>
    /// The client is being deleted; its last callback, on the thread that deletes it. The handle that was given to
    /// CVekClient_Delete is null by now and not touched any more: what holds it may be freed here. Through
    /// `client` the state may be asked for; deleting it again does nothing.
    /// </summary>
    public delegate void CVekOnClientDestroy(ref CVekClient client, IntPtr user);

    /// <summary>
    /// The gate is open again. Runs inside CVekFlowCtrl_SetAckTime and CVekFlowCtrl_StartCheckTimer on the
    /// caller's thread, or on the timer's, with the gate's locks held. It may call everything of this gate and
    /// send with any client; it must not connect, disconnect or delete a client, or wait for another thread that
    /// uses the gate or is inside a client's callback. It may delete the gate when nobody else uses it and it was
    /// not locked with CVekFlowCtrl_Lock. `gate` is the address of a temporary handle, valid until the callback
    /// returns.
    /// </summary>
    public delegate void CVekOnFlowCtrlFree(ref CVekFlowCtrl gate, IntPtr user);

    /// <summary>
    /// What a sender tells the thread that created it: how many of the requests that were held the link has taken,
    /// and how many of all it has refused, since it told the last time. `sender` is the address of a temporary
    /// handle, valid until the callback returns, which may do everything.
    /// </summary>
    public delegate void CVekOnFlowCtrlSenderSent(ref CVekFlowCtrlSender sender, IntPtr user, uint sent, uint refused);

    /// <summary>
    /// Null entries: the event is dropped. A caller in a managed language keeps what stands behind the entries
    /// alive until the client is deleted.
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

        /// <summary>the table says nothing about it</summary>
        public const int cvam_None = 0;
        /// <summary>domestic securities</summary>
        public const int cvam_Stock = 1;
        /// <summary>domestic futures and options</summary>
        public const int cvam_Futures = 2;
        /// <summary>foreign futures and options</summary>
        public const int cvam_ForeignFutures = 3;
        /// <summary>foreign securities</summary>
        public const int cvam_ForeignStock = 4;

        /// <summary>nothing came from the server for a heartbeat period; the link is not closed</summary>
        public const int cvcs_HeartbeatTimeout = -7;
        /// <summary>the server refused the connect request</summary>
        public const int cvcs_ConnectError = -6;
        /// <summary>the server refused the sign-on; the link stays up for a password change</summary>
        public const int cvcs_SgnError = -5;
        /// <summary>the server never answered the connect request</summary>
        public const int cvcs_UnknownServer = -4;
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

        /// <summary>a query, and its answer; paced by the rate that the server gave at sign-on</summary>
        public const int cvmc_TaskResult = 128;
        /// <summary>a request, and its acknowledgement</summary>
        public const int cvmc_RequestAck = 129;
        public const int cvmc_Report = 130;
        /// <summary>another acknowledgement</summary>
        public const int cvmc_RequestAck2 = 131;

        /// <summary>the words of the server or of the system, or none</summary>
        public const int cvre_Other = 0;
        /// <summary>CVekClient_Disconnect was called</summary>
        public const int cvre_Disconnect = 1;
        /// <summary>with cvcs_HeartbeatTimeout</summary>
        public const int cvre_HeartbeatTimeout = 2;
        /// <summary>with cvcs_UnknownServer</summary>
        public const int cvre_UnknownServer = 3;
        /// <summary>with cvcs_LinkBroken: what came was no stream of packets</summary>
        public const int cvre_BadPacketLength = 4;
        /// <summary>with cvcs_LinkBroken: a message had more pieces than any may have</summary>
        public const int cvre_LongMessage = 5;
        /// <summary>with cvcs_LinkError: nothing can be made of the setting</summary>
        public const int cvre_BadSetting = 6;
        /// <summary>with cvcs_LinkError: the application name is too long</summary>
        public const int cvre_BadApName = 7;
        /// <summary>with cvcs_SgnError: identity and password are too long together</summary>
        public const int cvre_SignOnTooLong = 8;
        /// <summary>of CVekClient_ChgPass: its texts are too long together</summary>
        public const int cvre_ChgPassTooLong = 9;
        /// <summary>with cvcs_LinkError: the link did not open in time</summary>
        public const int cvre_ConnectTimeout = 10;
        /// <summary>with cvcs_LinkBroken: no answer to the sign-on came in time</summary>
        public const int cvre_SignOnTimeout = 11;
        /// <summary>with cvcs_LinkError or cvcs_LinkBroken</summary>
        public const int cvre_NoMemory = 12;

        /// <summary>Its version, such as "0.1.0". The text is there as long as the library.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekApi_Version();

        /// <summary>
        /// A new automation string with the bytes of `text` up to its NUL, unchanged; it belongs to the caller. Null
        /// for null.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CstrToBSTR(byte[] text);

        /// <summary>
        /// A new automation string with the bytes of `text` up to its NUL, unchanged; it belongs to the caller. Null
        /// for null.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CstrToBSTR(IntPtr text);

        /// <summary>Frees what CstrToBSTR or a function ending in _B returned; nothing for null.</summary>
        [DllImport(Library)]
        public static extern void CVekApi_FreeBSTR(IntPtr text);

        /// <summary>The value of a key; null when there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get(ref CVekProperties properties, byte[] key);

        /// <summary>The value of a key; null when there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get(ref CVekProperties properties, IntPtr key);

        /// <summary>The value of a key; null when there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get_B(ref CVekProperties properties, byte[] key);

        /// <summary>The value of a key; null when there is none.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get_B(ref CVekProperties properties, IntPtr key);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Name(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Name_B(ref CVekProperties properties);

        /// <summary>What to show to users: the value of "DisplayText", else the name.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_DisplayText(ref CVekProperties properties);

        /// <summary>What to show to users: the value of "DisplayText", else the name.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_DisplayText_B(ref CVekProperties properties);

        /// <summary>The value of "Description", else the display text.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Description(ref CVekProperties properties);

        /// <summary>The value of "Description", else the display text.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Description_B(ref CVekProperties properties);

        /// <summary>The pairs, without the name: for each, in the order of their coming, 0x01 KEY "=" VALUE.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_ToString(ref CVekProperties properties);

        /// <summary>The pairs, without the name: for each, in the order of their coming, 0x01 KEY "=" VALUE.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekProperties_ToString_B(ref CVekProperties properties);

        /// <summary>The column's name and attributes.</summary>
        [DllImport(Library)]
        public static extern CVekProperties CVekField_Properties(ref CVekField field);

        /// <summary>Position in the table, from 0; -1 for a null handle.</summary>
        [DllImport(Library)]
        public static extern int CVekField_Index(ref CVekField field);

        /// <summary>Null handles when there is no such column.</summary>
        [DllImport(Library)]
        public static extern CVekField CVekFields_NameField(ref CVekFields fields, byte[] name);

        /// <summary>Null handles when there is no such column.</summary>
        [DllImport(Library)]
        public static extern CVekField CVekFields_NameField(ref CVekFields fields, IntPtr name);

        /// <summary>Null handles when there is no such column.</summary>
        [DllImport(Library)]
        public static extern CVekField CVekFields_IndexField(ref CVekFields fields, int index);

        [DllImport(Library)]
        public static extern int CVekFields_Count(ref CVekFields fields);

        /// <summary>The table's name and attributes.</summary>
        [DllImport(Library)]
        public static extern CVekProperties CVekTable_Properties(ref CVekTable table);

        [DllImport(Library)]
        public static extern CVekFields CVekTable_Fields(ref CVekTable table);

        [DllImport(Library)]
        public static extern int CVekTable_RecordsCount(ref CVekTable table);

        /// <summary>
        /// The value of a column of a record, "" when the record has none. Rows and columns count from 0; null when
        /// there is no such record or column.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordIndexField(ref CVekTable table, int row, int col);

        /// <summary>
        /// The value of a column of a record, "" when the record has none. Rows and columns count from 0; null when
        /// there is no such record or column.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordIndexField_B(ref CVekTable table, int row, int col);

        /// <summary>The same by a column's handle; null for a null one.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordField(ref CVekTable table, int row, ref CVekField field);

        /// <summary>The same by a column's handle; null for a null one.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordField_B(ref CVekTable table, int row, ref CVekField field);

        /// <summary>The number in the table's attribute "mkt": cvam_...</summary>
        [DllImport(Library)]
        public static extern int CVekTable_MktFlag(ref CVekTable table);

        /// <summary>Ties the answer to the request.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_WorkID(ref CVekTaskResult result);

        /// <summary>Ties the answer to the request.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_WorkID_B(ref CVekTaskResult result);

        /// <summary>The text that the tables were read from. Ends for the caller at its first NUL.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_OrigResult(ref CVekTaskResult result);

        /// <summary>The text that the tables were read from. Ends for the caller at its first NUL.</summary>
        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_OrigResult_B(ref CVekTaskResult result);

        /// <summary>Null handles when there is no such table. Indexes count from 0.</summary>
        [DllImport(Library)]
        public static extern CVekTable CVekTaskResult_NameTable(ref CVekTaskResult result, byte[] name);

        /// <summary>Null handles when there is no such table. Indexes count from 0.</summary>
        [DllImport(Library)]
        public static extern CVekTable CVekTaskResult_NameTable(ref CVekTaskResult result, IntPtr name);

        /// <summary>Null handles when there is no such table. Indexes count from 0.</summary>
        [DllImport(Library)]
        public static extern CVekTable CVekTaskResult_IndexTable(ref CVekTaskResult result, uint index);

        [DllImport(Library)]
        public static extern uint CVekTaskResult_TableCount(ref CVekTaskResult result);

        /// <summary>cvre_..., by the whole text; cvre_Other for null.</summary>
        [DllImport(Library)]
        public static extern int CVekApi_ReasonOf(byte[] reason);

        /// <summary>cvre_..., by the whole text; cvre_Other for null.</summary>
        [DllImport(Library)]
        public static extern int CVekApi_ReasonOf(IntPtr reason);

        /// <summary>
        /// A new client, which belongs to the caller. The table is copied; null counts as a table of nulls. `user` is
        /// handed to the callbacks and not looked into.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekClient CVekClient_Create(ref CVekClientCallbacks callbacks, IntPtr user);

        /// <summary>
        /// Calls OnVekClientDestroyEvent, closes the session and frees the client; the handle becomes null before that
        /// callback. Waits for a callback that is running on another thread (a thread answers what is sent to its
        /// windows meanwhile). No callback comes afterwards, unless the call was made inside one. Not on two threads
        /// at once, nor together with another function on that client.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekClient_Delete(ref CVekClient client);

        /// <summary>cvcs_...</summary>
        [DllImport(Library)]
        public static extern int CVekClient_State(ref CVekClient client);

        /// <summary>True at cvcs_Connected, cvcs_ApReady and cvcs_SgnError.</summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_IsSessionConnected(ref CVekClient client);

        /// <summary>
        /// Closes an earlier session and opens a new one; true when it was begun. The outcome comes as callbacks: a
        /// setting of which nothing can be made calls OnVekConnectEvent in state cvcs_LinkError before the function
        /// returns. False, with nothing done, when a text but the password is null; a null password is an empty one.
        ///
        /// `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS". `apVersion` is four numbers, such as "1.2.3.4".
        /// `id1` and `id2` are joined by "/" into the user identity; it and the password may have up to 255 bytes.
        /// Not on two threads at once for one client, nor together with _Disconnect or _Delete.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_Connect(ref CVekClient client, byte[] setting, byte[] apName, byte[] apVersion, byte[] id1, byte[] id2, byte[] password);

        /// <summary>
        /// Closes an earlier session and opens a new one; true when it was begun. The outcome comes as callbacks: a
        /// setting of which nothing can be made calls OnVekConnectEvent in state cvcs_LinkError before the function
        /// returns. False, with nothing done, when a text but the password is null; a null password is an empty one.
        ///
        /// `setting` is "HOST:PORT" for TCP, or ":KIND:PARAMETERS". `apVersion` is four numbers, such as "1.2.3.4".
        /// `id1` and `id2` are joined by "/" into the user identity; it and the password may have up to 255 bytes.
        /// Not on two threads at once for one client, nor together with _Disconnect or _Delete.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_Connect(ref CVekClient client, IntPtr setting, IntPtr apName, IntPtr apVersion, IntPtr id1, IntPtr id2, IntPtr password);

        /// <summary>
        /// Closes the session and calls OnVekConnectEvent with "Disconnect()" in state cvcs_Disconnected. No callback
        /// of that session comes afterwards.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekClient_Disconnect(ref CVekClient client);

        /// <summary>
        /// The result that ended the last sign-on; an empty one before that.
        ///
        /// Of a client on a message loop: inside its callbacks the one that was the last at that event, lent until the
        /// callback returns; outside, the last of all, lent until this function or CVekClient_ServerName is called
        /// again for that client outside its callbacks. Of another client: lent as long as the client lives; the next
        /// sign-on replaces what is in it, so that it is to be read in callbacks, or while no sign-on can be under
        /// way.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekTaskResult CVekClient_SgnResult(ref CVekClient client);

        /// <summary>
        /// Name and version of the server, such as "GW.2.0.1.15"; "" while not connected, null for a null handle. The
        /// text lives until the callback returns inside which it was asked for; else to be read, and lent, as
        /// CVekClient_SgnResult says.
        /// </summary>
        [DllImport(Library)]
        public static extern IntPtr CVekClient_ServerName(ref CVekClient client);

        /// <summary>
        /// Asks the server to change a password; the answer comes as OnVekChgPassResultEvent. False when not
        /// connected, when the link took nothing, or when the texts have more than 4091 bytes together. A null `user`
        /// gives false; null passwords are empty ones. Each text may have up to 255 bytes.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_ChgPass(ref CVekClient client, byte[] user, byte[] oldPassword, byte[] newPassword);

        /// <summary>
        /// Asks the server to change a password; the answer comes as OnVekChgPassResultEvent. False when not
        /// connected, when the link took nothing, or when the texts have more than 4091 bytes together. A null `user`
        /// gives false; null passwords are empty ones. Each text may have up to 255 bytes.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_ChgPass(ref CVekClient client, IntPtr user, IntPtr oldPassword, IntPtr newPassword);

        /// <summary>
        /// Scrambles a finished packet of `length` bytes in place, behind its three header bytes, when the session
        /// asks for it.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekClient_EncPacket(ref CVekClient client, byte[] packet, int length);

        /// <summary>
        /// Sends a finished packet of `length` bytes, header included; true when the link took it. The buffer is
        /// scrambled in place.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_SendPk(ref CVekClient client, byte[] packet, int length);

        /// <summary>
        /// Sends a request. The buffer starts with five free bytes, which the library fills; the text follows.
        /// `length` counts both, 6 or more. The buffer is consumed. True when the link took all of it, false when none
        /// of it went. Code 128 is a query, and false too when the rate that the server gave at sign-on is used up:
        /// nothing was touched then, and the same buffer may be tried again a little later.
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_SendVekRequest(ref CVekClient client, int msgCode, byte[] buffer, uint length);

        /// <summary>
        /// The same with cvmc_TaskResult, telling how long to wait: 0 when it was sent, the milliseconds until the
        /// rate allows it (nothing was touched), or -1 when it was not sent, and waiting will not help.
        /// </summary>
        [DllImport(Library)]
        public static extern int CVekClient_SendVekQueryRequest(ref CVekClient client, byte[] buffer, uint length);

        /// <summary>
        /// A new gate, which belongs to the caller; everything may go until it is configured. The table is copied;
        /// null counts as one with a null entry.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekFlowCtrl CVekFlowCtrl_Create(ref CVekFlowCtrlCallbacks callbacks, IntPtr user);

        /// <summary>
        /// As CVekFlowCtrl_Create, for a gate whose callback runs on the calling thread, when that runs its message
        /// loop (see there), without any lock held. It may do everything: connect, disconnect and delete clients, and
        /// delete the gate. A null handle when the thread can have no window (or there is no memory).
        ///
        /// Openings that come before the callback has run are one. By then another thread may have taken the place: a
        /// callback that finds the gate closed (CVekFlowCtrl_CheckFlowCtrl) calls CVekFlowCtrl_StartCheckTimer again.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekFlowCtrl CVekFlowCtrl_Create_OnMessageLoop(ref CVekFlowCtrlCallbacks callbacks, IntPtr user);

        /// <summary>
        /// Waits for a callback that is running on another thread; none comes afterwards. Nobody else may use the gate
        /// any more, or hold its lock.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Delete(ref CVekFlowCtrl gate);

        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekFlowCtrl_IsFlowCfg(ref CVekFlowCtrl gate);

        /// <summary>Switches pacing off and forgets what was sent. A gate that waits calls OnVekFlowCtrlFree soon.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Clear(ref CVekFlowCtrl gate);

        /// <summary>
        /// Forgets what was sent and allows `count` requests within any `ms` milliseconds; with either below 1 the
        /// same as CVekFlowCtrl_Clear. To be called again when a new session is ready: what was sent over a link that
        /// has ended is never acknowledged and would keep its places.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_SetFlowCtrl(ref CVekFlowCtrl gate, int count, int ms);

        /// <summary>`n` requests were acknowledged. May call OnVekFlowCtrlFree.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_SetAckTime(ref CVekFlowCtrl gate, uint n);

        /// <summary>
        /// 0: one request may go now, and is counted as sent (a null handle answers 0, too). Positive: not now; it may
        /// be asked again after so many milliseconds. Negative: not before an acknowledgement.
        /// </summary>
        [DllImport(Library)]
        public static extern int CVekFlowCtrl_CheckFlowCtrl(ref CVekFlowCtrl gate);

        /// <summary>
        /// Lets the calling thread sleep for so many milliseconds; for one when `ms` is above 0x7FFFFFFF, as a
        /// negative answer of CVekFlowCtrl_CheckFlowCtrl is.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Sleep(uint ms);

        /// <summary>Calls OnVekFlowCtrlFree when a request may go: at once, or later. Nothing when not configured.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_StartCheckTimer(ref CVekFlowCtrl gate);

        /// <summary>
        /// The gate's user lock. The thread that holds it may take it again, and gives it back as often. It must not
        /// connect, disconnect or delete a client meanwhile.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Lock(ref CVekFlowCtrl gate);

        /// <summary>
        /// The gate's user lock. The thread that holds it may take it again, and gives it back as often. It must not
        /// connect, disconnect or delete a client meanwhile.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Unlock(ref CVekFlowCtrl gate);

        /// <summary>
        /// A new sender, which belongs to the caller. It may outlive the client: everything is refused then. Not
        /// configured: everything goes at once.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekFlowCtrlSender CVekFlowCtrlSender_Create(ref CVekClient client);

        /// <summary>
        /// As CVekFlowCtrlSender_Create, with a callback on the calling thread, when that runs its message loop. What
        /// the sender holds goes when the rate allows it, as with every sender, whether the thread runs its loop or
        /// not. A null handle when the thread can have no window (or there is no memory).
        /// </summary>
        [DllImport(Library)]
        public static extern CVekFlowCtrlSender CVekFlowCtrlSender_Create_OnMessageLoop(ref CVekClient client, ref CVekFlowCtrlSenderCallbacks callbacks, IntPtr user);

        /// <summary>Drops what is held without sending it; otherwise as CVekFlowCtrl_Delete.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_Delete(ref CVekFlowCtrlSender sender);

        /// <summary>As CVekFlowCtrl_SetFlowCtrl.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_SetFlowCtrl(ref CVekFlowCtrlSender sender, int count, int ms);

        /// <summary>1 when configured, else 0. An int, unlike CVekFlowCtrl_IsFlowCfg.</summary>
        [DllImport(Library)]
        public static extern int CVekFlowCtrlSender_IsFlowCfg(ref CVekFlowCtrlSender sender);

        /// <summary>Requests held.</summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_PendingCount(ref CVekFlowCtrlSender sender);

        /// <summary>Sends what is held and may go now, and sees to the rest later.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_CheckPending(ref CVekFlowCtrlSender sender);

        /// <summary>Drops what is held; returns how many requests that were. None of them has been sent, or will be.</summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_DropPending(ref CVekFlowCtrlSender sender);

        /// <summary>
        /// Takes the oldest request that is held out of the sender, unsent: copies its text into `buffer`, which has
        /// room for `size` bytes, without a NUL behind it. Returns the length of the text, 0 when nothing is held. A
        /// text that is longer than `size` stays where it is, and nothing is copied.
        /// </summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_TakePending(ref CVekFlowCtrlSender sender, byte[] buffer, uint size);

        /// <summary>
        /// Requests that the link refused, since the sender was created: they were not sent, and are not held. There
        /// was no session, its send queue was full, or there was no memory.
        /// </summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_RefusedCount(ref CVekFlowCtrlSender sender);

        /// <summary>
        /// To be called with what OnVekRequestAckEvent brought: counts the acknowledged requests of code 129, may send
        /// held ones. Other codes and a null text are ignored.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_AckParser(ref CVekFlowCtrlSender sender, int code, byte[] text);

        /// <summary>
        /// To be called with what OnVekRequestAckEvent brought: counts the acknowledged requests of code 129, may send
        /// held ones. Other codes and a null text are ignored.
        /// </summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_AckParser(ref CVekFlowCtrlSender sender, int code, IntPtr text);

        /// <summary>`n` requests were acknowledged; may send held ones. The second argument is not used.</summary>
        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_SetAckTime(ref CVekFlowCtrlSender sender, int ignored, uint n);

        /// <summary>
        /// One request: the buffer starts with five free bytes, its text follows, `length` counts both. The buffer is
        /// consumed. True when it was sent, or nothing is held after the call; false when it is held, or `length` is
        /// below 6 (it is dropped then).
        /// </summary>
        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekFlowCtrlSender_SendVekRequest(ref CVekFlowCtrlSender sender, byte[] buffer, uint length);

        /// <summary>
        /// Several requests, pairs of lines with line feeds between them, behind five free bytes; a last line without
        /// its partner is dropped. Returns how many were sent now; the others are held. The buffer is consumed.
        /// </summary>
        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_SendVekRequests(ref CVekFlowCtrlSender sender, byte[] buffer, uint length);

        /// <summary>
        /// As CVekClient_Create, for a client whose callbacks run on the calling thread, when that thread runs its
        /// message loop. A null handle when the thread can have no window (or there is no memory).
        ///
        /// The loop. On Windows it is any loop of GetMessage and DispatchMessage, also a modal one (message box, menu,
        /// dragging). On every system CVekMessageLoop_Dispatch may take its place.
        ///
        /// Order. Callbacks come one after the other in the order of the wire. They come later than the event, and
        /// events from before a CVekClient_Connect or CVekClient_Disconnect, and those of these calls themselves, are
        /// still called when the call has returned. But inside a callback, on its thread, CVekClient_State,
        /// _IsSessionConnected, _SgnResult and _ServerName answer what was true at its event, whatever has happened
        /// since; outside callbacks, and on other threads, what is true now.
        ///
        /// Turns. One message brings a part of what waits, 10 ms' worth or a thousand events; the rest comes when
        /// everything else of the thread has had its turn: other clients, input, painting, timers.
        ///
        /// Waiting. A task result or password result is lent, so the session waits until its callback has returned:
        /// nothing else of that session arrives meanwhile. The thread answers these two, and with them what was queued
        /// before them, also while it waits inside a function of this library; so callbacks may come inside any call
        /// that connects, disconnects or deletes. The thread must not wait for the session by other means.
        ///
        /// Inside a callback the thread may do everything: connect, disconnect, delete, run a loop of its own (a
        /// message box). Other callbacks may or may not come inside that loop, which must not wait for them. After a
        /// deletion nothing is called any more but OnVekClientDestroyEvent, which CVekClient_Delete calls itself,
        /// before it returns, on its own thread; what was queued is dropped.
        ///
        /// CVekClient_Delete belongs on the creating thread. Another thread may call it outside callbacks; it then
        /// waits for the creating one to run its loop, or to end. A client whose thread has ended gets no callbacks
        /// but the last, and nothing is kept for it; it must still be deleted.
        /// </summary>
        [DllImport(Library)]
        public static extern CVekClient CVekClient_Create_OnMessageLoop(ref CVekClientCallbacks callbacks, IntPtr user);

        /// <summary>
        /// Runs what waits for the calling thread, a thousand messages at most and not what comes meanwhile, and
        /// returns how many it ran. Waits up to `timeoutMs` milliseconds when there is nothing (0: does not wait;
        /// negative: waits for ever), and answers 0 when nothing came. Negative on error; on Windows also when the
        /// thread has been told to quit (WM_QUIT, which stays in the queue). On Windows it serves all the thread's
        /// windows. Inside a callback, too.
        /// </summary>
        [DllImport(Library)]
        public static extern int CVekMessageLoop_Dispatch(int timeoutMs);

        /// <summary>
        /// For event loops that watch descriptors (poll, epoll, GLib, Qt, asyncio): one that polls readable while
        /// something waits for the calling thread; call CVekMessageLoop_Dispatch(0) then. It belongs to the library
        /// and lives as long as the thread: not to be read or closed. -1 on Windows, where the thread's message loop
        /// serves everything, and on error.
        /// </summary>
        [DllImport(Library)]
        public static extern int CVekMessageLoop_Fd();
    }
}
