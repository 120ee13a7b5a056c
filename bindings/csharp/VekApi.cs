// The flat functions of VekApi for C#, through P/Invoke: add the files of this directory to your project. x64 only.
// "vekapi" is vekapi.dll on Windows, libvekapi.so on Linux.
//
// VekApi.Declarations.cs declares the functions (class Vek). VekObjects.cs and VekOwned.cs contain classes that handle
// delegates, exceptions and the end of the program: derive from VekClient and override the events of interest.
// VekSession.cs contains sessions, which reconnect by themselves and report the fate of every request.
//
// If you call CVekClient_Create yourself: the library keeps the addresses of the delegates in the callback table,
// invisible to the garbage collector. Keep the table, as a field of a living object, until the client is deleted. No
// exception may leave a callback. Delete the client before the program ends.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;

namespace VekApi
{
    /// <summary>Conversion of the library's texts, which are bytes in code page 950.</summary>
    public static class VekText
    {
        private static readonly Encoding Big5 = CodePage950();

        // .NET Framework has it, Debian's Mono with libmono-i18n-cjk4.0-cil. .NET Core has it in a provider that .NET
        // Standard does not declare.
        private static Encoding CodePage950()
        {
            try { return Encoding.GetEncoding(950); }
            catch (NotSupportedException)
            {
                Type type = Type.GetType("System.Text.CodePagesEncodingProvider, System.Text.Encoding.CodePages");
                EncodingProvider provider = type == null ? null : (EncodingProvider)type.GetProperty("Instance").GetValue(null, null);
                Encoding found = provider == null ? null : provider.GetEncoding(950);
                if (found == null) throw;
                return found;
            }
        }

        /// <summary>Null for a null address. The text must still be valid: texts of a result are until its callback returns.</summary>
        public static string Get(IntPtr text)
        {
            if (text == IntPtr.Zero) return null;
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0) ++length;
            byte[] bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return Decode(bytes);
        }

        /// <summary>With a terminating NUL; null for null.</summary>
        public static byte[] Put(string text)
        {
            return text == null ? null : Encode(text + "\0");
        }

        /// <summary>A request buffer: five bytes reserved for the library, then the text. Its length is the array's.</summary>
        public static byte[] Request(string text)
        {
            return Encode("     " + text);
        }

        /// <summary>
        /// The text of bytes. User-defined characters, unknown to Mono, are mapped to the private-use area as on Windows.
        /// </summary>
        public static string Decode(byte[] bytes)
        {
            StringBuilder text = new StringBuilder(bytes.Length);
            int done = 0;
            for (int at = 0, next; at < bytes.Length; at = next)
            {
                next = at + (IsLead(bytes[at]) && at + 1 < bytes.Length && bytes[at + 1] >= 0x40 ? 2 : 1);
                char own = next - at == 2 ? UserDefined(bytes[at], bytes[at + 1]) : bytes[at] == 0xFF ? '\uF8F8' : '\0';
                if (own == '\0') continue;
                text.Append(Big5.GetString(bytes, done, at - done)).Append(own);
                done = next;
            }
            return text.Append(Big5.GetString(bytes, done, bytes.Length - done)).ToString();
        }

        /// <summary>The bytes of a text. ArgumentException if code page 950 lacks a character of it: "?" would be sent.</summary>
        public static byte[] Encode(string text)
        {
            byte[] bytes = Encoded(text);
            if (Array.FindAll(bytes, b => b == '?').Length == text.Split('?').Length - 1) return bytes;
            throw new ArgumentException("the text has a character that code page 950 lacks");
        }

        private static byte[] Encoded(string text)
        {
            List<byte> bytes = new List<byte>(2 * text.Length);
            int done = 0;
            for (int at = 0; at < text.Length; ++at)
            {
                int own = UserDefinedCode(text[at]);
                if (own < 0) continue;
                bytes.AddRange(Big5.GetBytes(text.Substring(done, at - done)));
                if (own > 0xFF) bytes.Add((byte)(own >> 8));
                bytes.Add((byte)own);
                done = at + 1;
            }
            bytes.AddRange(Big5.GetBytes(text.Substring(done)));
            return bytes.ToArray();
        }

        // Ranges of user-defined characters: first and last lead byte, first character, and the number of trail bytes
        // skipped in the first row.
        private static readonly int[][] Rows = {
            new[] {0xFA, 0xFE, 0xE000, 0}, new[] {0x8E, 0xA0, 0xE311, 0}, new[] {0x81, 0x8D, 0xEEB8, 0},
            new[] {0xC6, 0xC8, 0xF6B1, LowTrails}};
        private const int LowTrails = 0x7F - 0x40, Trails = LowTrails + 0xFF - 0xA1;

        private static bool IsLead(byte value) { return value >= 0x81 && value <= 0xFE; }

        private static char UserDefined(byte lead, byte trail)
        {
            if (trail == 0x7F || trail == 0xFF || (trail > 0x7F && trail < 0xA1)) return '\0';
            int place = trail < 0x7F ? trail - 0x40 : trail - 0xA1 + LowTrails;
            foreach (int[] row in Rows)
            {
                int from = (lead - row[0]) * Trails + place - row[3];
                if (lead >= row[0] && lead <= row[1] && from >= 0) return (char)(row[2] + from);
            }
            return '\0';
        }

        private static int UserDefinedCode(char character)
        {
            if (character == '\uF8F8') return 0xFF;
            foreach (int[] row in Rows)
            {
                int from = character - row[2] + row[3], place = from % Trails, lead = row[0] + from / Trails;
                if (character < row[2] || lead > row[1]) continue;
                return lead << 8 | (place < LowTrails ? place + 0x40 : place - LowTrails + 0xA1);
            }
            return -1;
        }
    }
}
