# The peer of exchange.sh in Perl, by RPC::XML.
use strict;
use warnings;
use JSON::PP;
use RPC::XML;
use RPC::XML::ParserFactory;

$RPC::XML::ENCODING  = 'utf-8';
$RPC::XML::ALLOW_NIL = 1;
my ($action, $kind, $file) = @ARGV;
binmode STDOUT, ':encoding(UTF-8)';

sub texts {
    my ($stream) = @_;
    local $/ = undef;
    return @{decode_json(<$stream>)};
}

sub structures {
    my $number = 0;
    return [
        map {
            {
                'table-id' => RPC::XML::int->new($number++), text => RPC::XML::string->new($_),
                texts      => RPC::XML::array->new(RPC::XML::string->new('0'), RPC::XML::string->new($_)),
                below      => RPC::XML::i4->new(-2147483648), truth => RPC::XML::boolean->new(1), nothing => RPC::XML::nil->new
            }
        } @_
    ];
}

# A value with its type, which its own text form does not keep in one order.
sub form {
    my ($value) = @_;
    my $type = $value->type;
    return '{' . join(',', map { "$_=" . form($value->{$_}) } sort keys %{$value}) . '}' if $type eq 'struct';
    return '[' . join(',', map { form($_) } @{$value}) . ']' if $type eq 'array';
    return ($type eq 'int' ? 'i4' : $type) . ':' . ($value->value // '');
}

if ($action eq 'write') {
    my @texts = texts(\*STDIN);
    my $message
        = $kind eq 'call'     ? RPC::XML::request->new('/sbin/server', structures(@texts))
        : $kind eq 'response' ? RPC::XML::response->new(structures(@texts))
        :                       RPC::XML::response->new(RPC::XML::fault->new(3, $texts[5]));
    print $message->as_string;
    exit;
}

open my $stream, '<', $file or die "$file: $!";
my @texts   = texts($stream);
my $text    = do { local $/ = undef; <STDIN> };
my $message = RPC::XML::ParserFactory->new->parse($text);
die $message if !ref $message;
if ($kind eq 'fault') {
    my $fault = $message->value;
    exit !($fault->is_fault && $fault->code == 3 && $fault->string eq $texts[5]);
}
die 'another command' if $kind eq 'call' && $message->name ne '/sbin/server';
my $read = $kind eq 'call' ? $message->args->[0] : $message->value;
exit !(form($read) eq form(RPC::XML::array->new(@{structures(@texts)})));
