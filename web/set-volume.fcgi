<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'self'; base-uri 'none'; form-action 'self'">
<meta http-equiv="refresh" content="1; url=player.fcgi">
<title>Player</title>
<link rel="icon" href="favicon.svg" type="image/svg+xml">
<link rel="stylesheet" href="style.css">
</head>
<body>
<!-- A page of its own for each thing that a form writes: the form cannot choose another. -->
<main class="sheet">
  <h1>Player</h1>
  <p class="outcome" role="status"><?plix setData path="player:player/volume" role="value" type="PlixValue:i32_" value="$value" onSuccess="$done" onError="$failed" escape="html"?></p>
  <p><a href="player.fcgi">Back to the player</a></p>
</main>
</body>
</html>
