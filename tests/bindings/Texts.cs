// Compares VekText with the library's own conversions, printed by print_cp950.cpp.
//
//     mono texts.exe FILE
using System;
using System.IO;
using System.Text;
using VekApi;

internal static class Texts
{
    private static byte[] FromHex(string hex)
    {
        byte[] bytes = new byte[hex.Length / 2];
        for (int i = 0; i < bytes.Length; ++i) bytes[i] = Convert.ToByte(hex.Substring(2 * i, 2), 16);
        return bytes;
    }

    private static int Main(string[] args)
    {
        int own = 0, wrong = 0;
        foreach (string line in File.ReadLines(args[0]))
        {
            string[] parts = line.Split(' ');
            string character = Encoding.UTF8.GetString(FromHex(parts[0])), back = Encoding.UTF8.GetString(FromHex(parts[2]));
            bool kept = character == back && character[0] >= 0xE000 && character[0] < 0xF900;
            string raw = kept ? BitConverter.ToString(VekText.Encode(character)).Replace("-", "").ToLowerInvariant() : "";
            own += kept ? 1 : 0;
            if (VekText.Decode(FromHex(parts[1])) == back && (!kept || raw == parts[1])) continue;
            if (++wrong < 10) Console.WriteLine("{0} {1}", line, raw);
        }
        // Mixed with other characters, and an incomplete character at the end.
        if (VekText.Decode(FromHex("41fa40a4a442")) != "A\uE000中B" || VekText.Decode(FromHex("fa")).Length > 1) ++wrong;
        Console.WriteLine("{0} private-use characters, {1} wrong", own, wrong);
        return wrong == 0 && own >= 6218 ? 0 : 1;
    }
}
