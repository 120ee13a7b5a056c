// Events, fates and results of sessions: plain values that stay valid.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;

namespace VekApi
{
    public enum VekLanguage { English, TraditionalChinese }

    /// <summary>How acknowledgements are assigned to requests.</summary>
    public enum VekAckRule
    {
        /// <summary>Line k is for request k of that link.</summary>
        InOrder = Vek.vsa_InOrder,
        /// <summary>A line starts with the request's work id: missing and surplus lines do no harm.</summary>
        ByWorkId = Vek.vsa_ByWorkId,
    }

    /// <summary>The fate of a request.</summary>
    public sealed class VekFate
    {
        public VekFateKind Kind { get; internal set; }
        public VekReason Reason { get; internal set; }
        public ulong Ticket { get; internal set; }
        public string WorkId { get; internal set; }
        /// <summary>The server's text: the acknowledgement line.</summary>
        public string Text { get; internal set; }
        /// <summary>The system's message, or the server's reason.</summary>
        public string Detail { get; internal set; }
        /// <summary>The answer to a query; null when there is none.</summary>
        public VekResult Result { get; internal set; }
        /// <summary>Refused as TooFast: may be repeated after so long; negative: unknown.</summary>
        public TimeSpan Wait { get; internal set; }
        /// <summary>Number of its link, from 1.</summary>
        public uint Link { get; internal set; }

        /// <summary>The server never received it.</summary>
        public bool SafeToRepeat { get { return Kind == VekFateKind.Refused || Kind == VekFateKind.NeverSent; } }

        /// <summary>Its answer has arrived.</summary>
        public bool IsAnswered { get { return Kind == VekFateKind.Answered || Kind == VekFateKind.Acknowledged; } }

        public string FateText(VekLanguage language = VekLanguage.English)
        {
            return VekWords.Of(Vek.vst_Fate, (int)Kind, language);
        }

        public string ReasonText(VekLanguage language = VekLanguage.English)
        {
            return VekWords.Of(Vek.vst_Reason, (int)Reason, language);
        }

        public override string ToString()
        {
            return WorkId + ": " + Kind + (Reason == VekReason.None ? "" : ", " + ReasonText());
        }
    }

    /// <summary>An event of a session.</summary>
    public sealed class VekEvent : EventArgs
    {
        private readonly string line;

        internal VekEvent(ref CVekSession session, ref CVekEvent from)
        {
            Kind = (VekEventKind)from.kind;
            State = (VekState)from.state;
            Reason = (VekReason)from.reason;
            Code = from.code;
            Link = from.link;
            Endpoint = from.endpoint;
            Wait = TimeSpan.FromMilliseconds(from.waitMs);
            NeverSent = from.neverSent;
            Unknown = from.unknown;
            Ticket = from.ticket;
            WhenUtc = new DateTime(1970, 1, 1, 0, 0, 0, DateTimeKind.Utc).AddTicks(from.unixNs / 100);
            WorkId = VekText.Get(from.workId);
            Detail = VekText.Get(from.detail);
            Text = VekWords.Bytes(from.text, from.textLength);
            if (from.result.Object != IntPtr.Zero) Result = VekResult.Of(ref session, ref from);
            FateKind = (VekFateKind)from.fate;
            line = VekWords.Describe(ref from);
        }

        public VekEventKind Kind { get; private set; }
        /// <summary>Of the session, as of this event.</summary>
        public VekState State { get; private set; }
        public VekReason Reason { get; private set; }
        public int Code { get; private set; }
        public uint Link { get; private set; }
        public uint Endpoint { get; private set; }
        /// <summary>In the state Waiting: until the next attempt; negative: until RetryIn.</summary>
        public TimeSpan Wait { get; private set; }
        /// <summary>After a link's end: how many of its requests were not sent because of it,</summary>
        public uint NeverSent { get; private set; }
        /// <summary>and how many the server may have received.</summary>
        public uint Unknown { get; private set; }
        public ulong Ticket { get; private set; }
        public DateTime WhenUtc { get; private set; }
        public string WorkId { get; private set; }
        public string Text { get; private set; }
        public string Detail { get; private set; }
        public VekResult Result { get; private set; }

        /// <summary>Of Fate events; of late answers, the fate reported before.</summary>
        public VekFateKind FateKind { get; private set; }

        /// <summary>One line for a log.</summary>
        public string Describe() { return line; }
        public override string ToString() { return line; }

        internal VekFate Fate()
        {
            return new VekFate { Kind = FateKind, Reason = Reason, Ticket = Ticket, WorkId = WorkId, Text = Text,
                                 Detail = Detail, Result = Result, Link = Link };
        }
    }

    /// <summary>A copy of a task result. Functions of Vek may use Handle while the object is referenced.</summary>
    public sealed class VekResult
    {
        public CVekTaskResult Handle;

        private VekResult(CVekTaskResult handle) { Handle = handle; }
        ~VekResult() { Vek.CVekTaskResult_Free(ref Handle); }

        internal static VekResult Of(ref CVekSession session, ref CVekEvent from)
        {
            CVekTaskResult kept = Vek.CVekSession_KeepResult(ref session, ref from);
            return kept.Object == IntPtr.Zero ? null : new VekResult(kept);
        }

        /// <summary>The records of a table, by the names of its columns; null when there is no such table.</summary>
        public IList<IDictionary<string, string>> Table(string name)
        {
            CVekTable table = Vek.CVekTaskResult_NameTable(ref Handle, VekText.Put(name));
            if (table.Object == IntPtr.Zero) return null;
            string[] columns = Columns(ref table);
            var rows = new List<IDictionary<string, string>>();
            for (int row = 0; row < Vek.CVekTable_RecordsCount(ref table); ++row)
            {
                var record = new Dictionary<string, string>();
                for (int column = 0; column < columns.Length; ++column)
                    record[columns[column]] = VekText.Get(Vek.CVekTable_RecordIndexField(ref table, row, column));
                rows.Add(record);
            }
            GC.KeepAlive(this);
            return rows;
        }

        private static string[] Columns(ref CVekTable table)
        {
            CVekFields fields = Vek.CVekTable_Fields(ref table);
            string[] names = new string[Vek.CVekFields_Count(ref fields)];
            for (int i = 0; i < names.Length; ++i)
            {
                CVekField field = Vek.CVekFields_IndexField(ref fields, i);
                CVekProperties properties = Vek.CVekField_Properties(ref field);
                names[i] = VekText.Get(Vek.CVekProperties_Name(ref properties));
            }
            return names;
        }
    }

    /// <summary>The session cannot be created or opened, or the server rejects the user.</summary>
    public class VekSessionException : Exception
    {
        public VekSessionException(VekReason reason, string detail = "")
            : base(VekWords.Of(Vek.vst_Reason, (int)reason, VekLanguage.English) +
                   (string.IsNullOrEmpty(detail) ? "" : ": " + detail))
        {
            Reason = reason;
        }

        public VekReason Reason { get; private set; }
    }

    /// <summary>A query was not answered.</summary>
    public sealed class VekNotAnsweredException : Exception
    {
        public VekNotAnsweredException(VekFate fate) : base(fate.ToString()) { Fate = fate; }
        public VekFate Fate { get; private set; }
    }

    internal static class VekWords
    {
        internal static string Of(int what, int value, VekLanguage language)
        {
            return Utf8(Vek.CVekApi_Text(what, value, (int)language));
        }

        internal static string Describe(ref CVekEvent from)
        {
            byte[] line = new byte[512];
            uint length = Vek.CVekApi_Describe(ref from, line, (uint)line.Length);
            return Encoding.UTF8.GetString(line, 0, (int)Math.Min(length, line.Length - 1));
        }

        internal static string Bytes(IntPtr text, uint length)
        {
            byte[] bytes = new byte[length];
            if (length > 0) Marshal.Copy(text, bytes, 0, (int)length);
            return VekText.Decode(bytes);
        }

        private static string Utf8(IntPtr text)
        {
            if (text == IntPtr.Zero) return "";
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0) ++length;
            byte[] bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return Encoding.UTF8.GetString(bytes);
        }
    }
}
