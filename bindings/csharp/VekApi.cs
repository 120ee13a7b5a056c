// The flat functions of VekApi for C#, through P/Invoke: one file to add to a project. x64 only. What the functions
// do is told in VekApiC.h.
//
// Library. "vekapi" is vekapi.dll on Windows, libvekapi.so on Linux.
//
// Callbacks. The library keeps the addresses of the delegates in the callback table, which the garbage collector
// does not see: keep the delegates (the table, as a field of a living object) until the client is deleted. They run
// on threads of the library, those of CVekClient_Create_OnMessageLoop on the thread that created the client, in its
// message loop (Windows Forms, WPF). An exception must not leave one.
//
// Texts. Texts of the library are bytes in code page 950: VekText.Get decodes them. Texts handed in are bytes that
// end with NUL: VekText.Put. What VekText.Get is given must still be alive: texts of a result, until its callback
// returns.
//
// Results. bool has one byte in the library, hence MarshalAs(UnmanagedType.I1).
using System;
using System.Runtime.InteropServices;
using System.Text;

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

    public delegate void CVekOnUnknownMsgCode(ref CVekClient client, IntPtr user, int msgCode, IntPtr packet, int length);
    public delegate void CVekOnConnect(ref CVekClient client, IntPtr user, IntPtr reason);
    public delegate void CVekOnApReady(ref CVekClient client, IntPtr user);
    public delegate void CVekOnTaskResult(ref CVekClient client, IntPtr user, ref CVekTaskResult result);
    public delegate void CVekOnChgPassResult(ref CVekClient client, IntPtr user, IntPtr userId, IntPtr resultText);
    public delegate void CVekOnRequestAck(ref CVekClient client, IntPtr user, int msgCode, IntPtr ackText);
    public delegate void CVekOnReport(ref CVekClient client, IntPtr user, IntPtr reportText);
    public delegate void CVekOnClientDestroy(ref CVekClient client, IntPtr user);
    public delegate void CVekOnFlowCtrlFree(ref CVekFlowCtrl gate, IntPtr user);

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

    public static class VekText
    {
        // On .NET Core and later, code page 950 needs the package System.Text.Encoding.CodePages and, once,
        // Encoding.RegisterProvider(CodePagesEncodingProvider.Instance); on Debian's Mono, libmono-i18n-cjk4.0-cil.
        private static readonly Encoding Big5 = Encoding.GetEncoding(950);

        // Null for a null address.
        public static string Get(IntPtr text)
        {
            if (text == IntPtr.Zero) return null;
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0) ++length;
            byte[] bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return Big5.GetString(bytes);
        }

        public static byte[] Put(string text)
        {
            return text == null ? null : Big5.GetBytes(text + "\0");
        }

        // A request as the library wants it: five bytes that it fills, and the text; its length is the buffer's.
        public static byte[] Request(string text)
        {
            return Big5.GetBytes("     " + text);
        }
    }

    public static class Vek
    {
        private const string Library = "vekapi";

        [DllImport(Library)]
        public static extern IntPtr CVekApi_Version();

        [DllImport(Library)]
        public static extern IntPtr CstrToBSTR(byte[] text);

        [DllImport(Library)]
        public static extern void CVekApi_FreeBSTR(IntPtr text);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get(ref CVekProperties properties, byte[] key);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Get_B(ref CVekProperties properties, byte[] key);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Name(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Name_B(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_DisplayText(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_DisplayText_B(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Description(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_Description_B(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_ToString(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern IntPtr CVekProperties_ToString_B(ref CVekProperties properties);

        [DllImport(Library)]
        public static extern CVekProperties CVekField_Properties(ref CVekField field);

        [DllImport(Library)]
        public static extern int CVekField_Index(ref CVekField field);

        [DllImport(Library)]
        public static extern CVekField CVekFields_NameField(ref CVekFields fields, byte[] name);

        [DllImport(Library)]
        public static extern CVekField CVekFields_IndexField(ref CVekFields fields, int index);

        [DllImport(Library)]
        public static extern int CVekFields_Count(ref CVekFields fields);

        [DllImport(Library)]
        public static extern CVekProperties CVekTable_Properties(ref CVekTable table);

        [DllImport(Library)]
        public static extern CVekFields CVekTable_Fields(ref CVekTable table);

        [DllImport(Library)]
        public static extern int CVekTable_RecordsCount(ref CVekTable table);

        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordIndexField(ref CVekTable table, int row, int col);

        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordIndexField_B(ref CVekTable table, int row, int col);

        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordField(ref CVekTable table, int row, ref CVekField field);

        [DllImport(Library)]
        public static extern IntPtr CVekTable_RecordField_B(ref CVekTable table, int row, ref CVekField field);

        [DllImport(Library)]
        public static extern int CVekTable_MktFlag(ref CVekTable table);

        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_WorkID(ref CVekTaskResult result);

        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_WorkID_B(ref CVekTaskResult result);

        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_OrigResult(ref CVekTaskResult result);

        [DllImport(Library)]
        public static extern IntPtr CVekTaskResult_OrigResult_B(ref CVekTaskResult result);

        [DllImport(Library)]
        public static extern CVekTable CVekTaskResult_NameTable(ref CVekTaskResult result, byte[] name);

        [DllImport(Library)]
        public static extern CVekTable CVekTaskResult_IndexTable(ref CVekTaskResult result, uint index);

        [DllImport(Library)]
        public static extern uint CVekTaskResult_TableCount(ref CVekTaskResult result);

        [DllImport(Library)]
        public static extern CVekClient CVekClient_Create(ref CVekClientCallbacks callbacks, IntPtr user);

        [DllImport(Library)]
        public static extern CVekClient CVekClient_Create_OnMessageLoop(ref CVekClientCallbacks callbacks, IntPtr user);

        [DllImport(Library)]
        public static extern void CVekClient_Delete(ref CVekClient client);

        [DllImport(Library)]
        public static extern int CVekClient_State(ref CVekClient client);

        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_IsSessionConnected(ref CVekClient client);

        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_Connect(ref CVekClient client, byte[] setting, byte[] apName, byte[] apVersion, byte[] id1, byte[] id2, byte[] password);

        [DllImport(Library)]
        public static extern void CVekClient_Disconnect(ref CVekClient client);

        [DllImport(Library)]
        public static extern CVekTaskResult CVekClient_SgnResult(ref CVekClient client);

        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_ChgPass(ref CVekClient client, byte[] user, byte[] oldPassword, byte[] newPassword);

        [DllImport(Library)]
        public static extern void CVekClient_EncPacket(ref CVekClient client, byte[] packet, int length);

        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_SendPk(ref CVekClient client, byte[] packet, int length);

        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekClient_SendVekRequest(ref CVekClient client, int msgCode, byte[] buffer, uint length);

        [DllImport(Library)]
        public static extern CVekFlowCtrl CVekFlowCtrl_Create(ref CVekFlowCtrlCallbacks callbacks, IntPtr user);

        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Delete(ref CVekFlowCtrl gate);

        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekFlowCtrl_IsFlowCfg(ref CVekFlowCtrl gate);

        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Clear(ref CVekFlowCtrl gate);

        [DllImport(Library)]
        public static extern void CVekFlowCtrl_SetFlowCtrl(ref CVekFlowCtrl gate, int count, int ms);

        [DllImport(Library)]
        public static extern void CVekFlowCtrl_SetAckTime(ref CVekFlowCtrl gate, uint n);

        [DllImport(Library)]
        public static extern int CVekFlowCtrl_CheckFlowCtrl(ref CVekFlowCtrl gate);

        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Sleep(uint ms);

        [DllImport(Library)]
        public static extern void CVekFlowCtrl_StartCheckTimer(ref CVekFlowCtrl gate);

        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Lock(ref CVekFlowCtrl gate);

        [DllImport(Library)]
        public static extern void CVekFlowCtrl_Unlock(ref CVekFlowCtrl gate);

        [DllImport(Library)]
        public static extern CVekFlowCtrlSender CVekFlowCtrlSender_Create(ref CVekClient client);

        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_Delete(ref CVekFlowCtrlSender sender);

        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_SetFlowCtrl(ref CVekFlowCtrlSender sender, int count, int ms);

        [DllImport(Library)]
        public static extern int CVekFlowCtrlSender_IsFlowCfg(ref CVekFlowCtrlSender sender);

        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_PendingCount(ref CVekFlowCtrlSender sender);

        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_AckParser(ref CVekFlowCtrlSender sender, int code, byte[] text);

        [DllImport(Library)]
        public static extern void CVekFlowCtrlSender_SetAckTime(ref CVekFlowCtrlSender sender, int ignored, uint n);

        [return: MarshalAs(UnmanagedType.I1)]
        [DllImport(Library)]
        public static extern bool CVekFlowCtrlSender_SendVekRequest(ref CVekFlowCtrlSender sender, byte[] buffer, uint length);

        [DllImport(Library)]
        public static extern uint CVekFlowCtrlSender_SendVekRequests(ref CVekFlowCtrlSender sender, byte[] buffer, uint length);

        [DllImport(Library)]
        public static extern int CVekMessageLoop_Dispatch(int timeoutMs);

        [DllImport(Library)]
        public static extern int CVekMessageLoop_Fd();
    }
}
