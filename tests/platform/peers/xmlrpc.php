<?php
// The peer of exchange.sh in PHP, by xmlrpc-epi.

function structures(array $texts): array
{
    $structures = [];
    foreach ($texts as $number => $text)
        $structures[] = ["table-id" => $number, "text" => $text, "texts" => ["0", $text], "below" => -2147483648, "truth" => true,
            "double" => -0.5];
    return $structures;
}

[, $action, $kind] = $argv;
$input = stream_get_contents(STDIN);
$texts = json_decode($action === "write" ? $input : file_get_contents($argv[3]));
$fault = ["faultCode" => 3, "faultString" => $texts[5]];
if ($action === "write") {
    // Each kind of escaping that it knows and that is well-formed.
    $options = ["encoding" => "utf-8", "escaping" => $kind === "call" ? "cdata" : "markup"];
    echo $kind === "call"
        ? xmlrpc_encode_request("/sbin/server", [structures($texts)], $options)
        : xmlrpc_encode_request(null, $kind === "fault" ? $fault : structures($texts), $options);
    exit(0);
}
$command = null;
$read = xmlrpc_decode_request($input, $command, "utf-8");
$same = match ($kind) {
    "call" => $command === "/sbin/server" && $read === [structures($texts)],
    "response" => $read === structures($texts),
    "fault" => $read === $fault,
};
exit($same ? 0 : 1);
