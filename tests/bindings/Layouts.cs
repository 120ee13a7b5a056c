// Writes the layout of the structures as C# passes them: "STRUCTURE MEMBER OFFSET", "STRUCTURE SIZE".
using System;
using System.Reflection;
using System.Runtime.InteropServices;

internal static class Layouts
{
    private static void Main()
    {
        foreach (Type type in typeof(VekApi.Vek).Assembly.GetTypes())
        {
            if (!type.IsValueType || !type.Name.StartsWith("CVek")) continue;
            Console.WriteLine("{0} {1}", type.Name, Marshal.SizeOf(type));
            foreach (FieldInfo field in type.GetFields(BindingFlags.Public | BindingFlags.Instance))
                Console.WriteLine("{0} {1} {2}", type.Name, field.Name, Marshal.OffsetOf(type, field.Name));
        }
    }
}
