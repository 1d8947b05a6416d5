// Play.exe FILE: plays a file, or says why it cannot.
using System;
using YmdShow;

public static class Program
{
    public static int Main(string[] arguments)
    {
        try
        {
            using (Player player = new Player())
            {
                player.LoadScheme(@"schemes\media.json");
                player.LoadScheme(@"schemes\renderers.json");
                using (Item item = player.CreateItem(arguments[0]))
                {
                    item.Play();
                    Console.WriteLine("playing {0:F1} s", item.Duration / 1e7);
                    foreach (EventRecord record in item.Events())
                    {
                        Console.WriteLine("event {0}", record.code);
                    }
                }
            }
            return 0;
        }
        catch (YmdException error)
        {
            Console.Error.WriteLine(error.Message);
            return 1;
        }
    }
}
