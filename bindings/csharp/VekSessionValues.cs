// Events, fates and results of sessions: plain values that stay valid.
using System;
using System.Runtime.InteropServices;
using System.Text;

namespace VekApi
{
    /// <summary>Language of the library's words.</summary>
    public enum VekLanguage
    {
        /// <summary>English.</summary>
        English,
        /// <summary>Traditional Chinese.</summary>
        TraditionalChinese,
    }

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
        /// <summary>Its outcome.</summary>
        public VekFateKind Kind { get; internal set; }
        /// <summary>Why; None if there is no reason to give.</summary>
        public VekReason Reason { get; internal set; }
        /// <summary>Number of the request in its session, from 1; 0: refused.</summary>
        public ulong Ticket { get; internal set; }
        /// <summary>Its work id.</summary>
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

        /// <summary>Kind in words.</summary>
        public string FateText(VekLanguage language = VekLanguage.English)
        {
            return VekWords.Of(Vek.vst_Fate, (int)Kind, language);
        }

        /// <summary>Reason in words.</summary>
        public string ReasonText(VekLanguage language = VekLanguage.English)
        {
            return VekWords.Of(Vek.vst_Reason, (int)Reason, language);
        }

        /// <summary>Work id, fate and reason.</summary>
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

        /// <summary>What it is about.</summary>
        public VekEventKind Kind { get; private set; }
        /// <summary>Of the session, as of this event.</summary>
        public VekState State { get; private set; }
        /// <summary>Why a link ended, or why a request was not acknowledged or answered.</summary>
        public VekReason Reason { get; private set; }
        /// <summary>Code of the message; 2: a password change.</summary>
        public int Code { get; private set; }
        /// <summary>Number of its link, from 1; 0: before the first.</summary>
        public uint Link { get; private set; }
        /// <summary>Number of the endpoint, from 0.</summary>
        public uint Endpoint { get; private set; }
        /// <summary>In the state Waiting: until the next attempt; negative: until RetryIn.</summary>
        public TimeSpan Wait { get; private set; }
        /// <summary>After a link's end: how many of its requests were not sent because of it,</summary>
        public uint NeverSent { get; private set; }
        /// <summary>and how many the server may have received.</summary>
        public uint Unknown { get; private set; }
        /// <summary>Of the request; 0: of none.</summary>
        public ulong Ticket { get; private set; }
        /// <summary>When it happened, not when it is delivered.</summary>
        public DateTime WhenUtc { get; private set; }
        /// <summary>Of the request or the answer.</summary>
        public string WorkId { get; private set; }
        /// <summary>The server's text.</summary>
        public string Text { get; private set; }
        /// <summary>The system's message, or the server's reason.</summary>
        public string Detail { get; private set; }
        /// <summary>The answer to a query, and the sign-on result; null when there is none.</summary>
        public VekResult Result { get; private set; }

        /// <summary>Of Fate events; of late answers, the fate reported before.</summary>
        public VekFateKind FateKind { get; private set; }

        /// <summary>One line for a log.</summary>
        public string Describe() { return line; }
        /// <summary>As Describe.</summary>
        public override string ToString() { return line; }

        internal VekFate Fate()
        {
            return new VekFate { Kind = FateKind, Reason = Reason, Ticket = Ticket, WorkId = WorkId, Text = Text,
                                 Detail = Detail, Result = Result, Link = Link };
        }
    }

    /// <summary>The session cannot be created or opened, or the server rejects the user.</summary>
    public class VekSessionException : Exception
    {
        /// <summary>With the library's text.</summary>
        public VekSessionException(VekReason reason, string detail = "")
            : base(VekWords.Of(Vek.vst_Reason, (int)reason, VekLanguage.English) +
                   (string.IsNullOrEmpty(detail) ? "" : ": " + detail))
        {
            Reason = reason;
        }

        /// <summary>Why.</summary>
        public VekReason Reason { get; private set; }
    }

    /// <summary>A query was not answered.</summary>
    public sealed class VekNotAnsweredException : Exception
    {
        /// <summary>For a fate.</summary>
        public VekNotAnsweredException(VekFate fate) : base(fate.ToString()) { Fate = fate; }
        /// <summary>The fate of the query.</summary>
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
