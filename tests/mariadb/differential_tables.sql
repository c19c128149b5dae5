drop view if exists seen
drop trigger if exists heard_insert
drop trigger if exists heard_update
drop table if exists wide, plain, other, narrow, heard
drop function if exists which
create table wide (k int primary key, i1 tinyint, i2 smallint unsigned, i3 mediumint, i4 int, i8 bigint, u8 bigint unsigned, n decimal(30,5), m decimal(5,2) not null default 0, r float, d double, g double(8,2), h float(7,3), z int(6) zerofill, f boolean, a bit(9), x text, v varchar(5), c char(5), b varbinary(8), o varchar(20) character set latin1, q varchar(20) collate utf8mb4_bin, e enum('sad','ok','happy'), w set('a','b','x'), j json, y date, s datetime(3), p timestamp null, t time(2), l year, i inet6, made bigint as (i4 * 2) stored, index (i4), index (n), index (v), index (o), index (s))
create table plain (k int not null default 5, a varchar(40) not null default 'none', h int unique)
create table narrow (k varchar(9), i1 int, i2 text, i3 varchar(5), i4 decimal(9,3), i8 int, u8 int, n double, m varchar(9), r decimal(6,2), d float, g int, h int, z int, f int, a int, x varchar(3), v int, c text, b text, o text, q int, e varchar(9), w varchar(9), j text, y varchar(20), s date, p datetime, t varchar(9), l int, i varchar(40), made int) character set latin1
create table heard (what varchar(60))
create view seen as select k, i2, i4, i8, n, m, r, d, x from wide where i4 > 2
create trigger heard_insert before insert on wide for each row begin insert into heard values(concat('i', coalesce(new.x, '-'), coalesce(new.v, '-'))); if new.x = '5' then signal sqlstate '22023' set message_text = 'refused'; end if; end
create trigger heard_update before update on wide for each row insert into heard values(concat('u', coalesce(new.x, '-'), coalesce(old.i4, '-')))
create function which(n int) returns varchar(9) deterministic return concat('w', n)
insert into wide (k,i1,i2,i3,i4,i8,u8,n,m,r,d,g,h,z,f,a) values(1,5,5,5,5,5,5,5,5,5,5,5,5,5,1,5),(2,-5,40000,-70000,70000,5000000000,18446744073709551615,0.1,0.1,0.1,0.1,0.1,0.1,12,0,b'101'),(3,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0),(4,null,null,null,null,null,null,null,0,null,null,null,null,null,null,null),(5,127,65535,8388607,2147483647,9223372036854775807,9223372036854775808,1234567890123456789012345.67891,-99.99,1e30,1e300,99999.99,1234.567,999999,127,511),(7,7,7,7,7,7,7,7.5,7.25,16777217,9007199254740993,7.005,7.0005,7,7,97)
update wide set x='a', v='a', c='a', b='a', o='a', q='a', e='sad', w='a', j='{"a":5}', y='2020-01-01', s='2020-01-01 12:00:00.5', p='2020-01-01 12:00:00', t='12:00:00.25', l=2020, i='::1' where k = 1
update wide set x='x', v='x ', c='x ', b=x'00ff', o='ä', q='A', e='ok', w='a,x', j='5', y='1999-12-31', s='0001-01-01', p='2038-01-19 03:14:07', t='-838:59:59', l=1901, i='fe80::5' where k = 2
update wide set x='', v='', c='', b='', o='', q='', e='happy', w='', j='null', y='9999-12-31', s='9999-12-31 23:59:59.999', t='00:00:00', l=0 where k = 3
update wide set x='it''s', v='5', c='5', b='5', o='é', q='ä', e='sad', w='b', y='2000-02-29', s='2000-02-29', t='100:00:00', l=2155 where k = 7
insert into plain values(1,'a',1),(2,'5',5),(3,'x',null)
insert into narrow (x,k,i2,i4,f,s) values('a','1',5,5,5,'2020-01-01'),('x','5',0.5,0.5,null,'1999-01-01'),('5','abc','5 ',7,7,null)
set transaction isolation level read uncommitted -- also for the plain tables
