"""play.py FILE: plays a file, or says why it cannot."""
import sys

from ymdshow import Player, YmdError

with Player() as player:
    player.scheme.load_file(r"schemes\media.json")
    player.scheme.load_file(r"schemes\renderers.json")
    try:
        with player.item(sys.argv[1]) as item:
            item.play()
            print(f"playing {item.duration / 1e7:.1f} s with", ", ".join(f.name for f in item.filters()))
            for event in item.events():
                print("event", event.code)
    except YmdError as error:
        sys.exit(str(error))
